#include "netweft/couch/internal/FeedReader.h"

#include "tests/couch/FeedRecordFixture.h"

#include <stdexcept>

namespace qx::test {
namespace {

using namespace couch;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto sError = ChangesListener::CM_ListenStopedDueToError;
constexpr auto sMissing = ChangesListener::CM_ListenStopedDbMissing;
constexpr auto sHeartbeat = ChangesListener::CM_Heartbeat;

class FeedReaderTest : public FeedRecordFixture {
 protected:
  bool read(const string& text) { return ReadFeed(*record, text.data(), text.size()); }

  unique_ptr<Record> record = makeRecordIn("shop", LS_Listening, 3);
};

TEST_F(FeedReaderTest, AChangeIsReportedAndItsSequenceKept) {
  EXPECT_TRUE(read(R"({"seq":5,"id":"a","changes":[{"rev":"2-b"},{"rev":"1-a"}],"deleted":true})"
                   "\n"));
  EXPECT_THAT(recorder.events, ElementsAre(Change("shop", 5, "a", {"2-b", "1-a"}, true)));
  EXPECT_EQ(record->since, 5);
}

TEST_F(FeedReaderTest, TwoLinesInOnePieceAreTwoCallsAndNoHeartbeat) {
  EXPECT_TRUE(read("{\"seq\":5,\"id\":\"a\"}\n{\"seq\":6,\"id\":\"b\"}\n"));
  EXPECT_THAT(recorder.events, ElementsAre(Change("shop", 5, "a", {}), Change("shop", 6, "b", {})));
}

TEST_F(FeedReaderTest, ALineInTwoPiecesIsHandledOnceWhenItsLineFeedArrives) {
  EXPECT_TRUE(read("{\"seq\":5,\"i"));
  EXPECT_TRUE(read("d\":\"a\"}"));
  EXPECT_THAT(recorder.events, IsEmpty());
  EXPECT_TRUE(read("\n"));
  EXPECT_THAT(recorder.events, ElementsAre(Change("shop", 5, "a", {})));
}

TEST_F(FeedReaderTest, NothingOfAChangeStaysInTheNextOne) {
  read(R"({"seq":5,"id":"a","changes":[{"rev":"2-b"}],"deleted":true})"
       "\n{\"seq\":6}\n\n");
  EXPECT_THAT(recorder.events, testing::Contains(Change("shop", 6, "", {})));
}

TEST_F(FeedReaderTest, LineFeedsAloneAreAHeartbeat) {
  EXPECT_TRUE(read("\n"));
  EXPECT_TRUE(read("\n\n\n"));
  EXPECT_THAT(recorder.events, ElementsAre(Event(sHeartbeat, "shop", 3), Event(sHeartbeat, "shop", 3)));
}

TEST_F(FeedReaderTest, APieceThatEndsInsideALineIsNoHeartbeat) {
  EXPECT_TRUE(read("\n{\"seq\":5"));
  EXPECT_THAT(recorder.events, IsEmpty());
}

TEST_F(FeedReaderTest, LineFeedsAheadOfALineAreDropped) {
  EXPECT_TRUE(read("\n\n{\"seq\":5,\"id\":\"a\"}\n"));
  EXPECT_THAT(recorder.events, ElementsAre(Change("shop", 5, "a", {})));
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(FeedReaderTest, AnEmptyLineBehindALineOfTheSamePieceIsNoJson) {
  EXPECT_TRUE(read("{\"seq\":5,\"id\":\"a\"}\n\n"));
  EXPECT_THAT(recorder.events, ElementsAre(Change("shop", 5, "a", {})));
  EXPECT_THAT(log.getLines(), ElementsAre(Error("Invalid json in change feed")));
}

TEST_F(FeedReaderTest, ALineThatIsNoJsonCostsOnlyItself) {
  EXPECT_TRUE(read("<html>\n{\"seq\":5,\"id\":\"a\"}\n[1]\n{\"id\":\"\xFF\"}\n"));
  EXPECT_THAT(recorder.events, ElementsAre(Change("shop", 5, "a", {})));
  EXPECT_EQ(log.count(Error("Invalid json in change feed")), 3u);
}

TEST_F(FeedReaderTest, TheClosingLineIsIgnored) {
  EXPECT_TRUE(read("{\"last_seq\":9,\"pending\":0}\n"));
  EXPECT_THAT(recorder.events, IsEmpty());
  EXPECT_EQ(record->since, 3);
  EXPECT_EQ(record->state, LS_Listening);
}

TEST_F(FeedReaderTest, ANegativeSequenceEndsTheTransferAndKeepsThePreviousOne) {
  EXPECT_FALSE(read("{\"seq\":-1,\"id\":\"a\"}\n"));
  EXPECT_THAT(recorder.events, ElementsAre(Event(sError, "shop", 3, "Invalid seq id in change feed : '-1'")));
  EXPECT_EQ(record->since, 3);
  EXPECT_EQ(record->state, LS_WaitBeforeRetry);
  EXPECT_TRUE(record->retryTimer.isRunning());
}

TEST_F(FeedReaderTest, ANegativeSequenceIsWrittenWithoutGrouping) {
  read("{\"seq\":-1234567}\n");
  EXPECT_EQ(recorder.events.at(0).param.errorMessage, "Invalid seq id in change feed : '-1234567'");
}

TEST_F(FeedReaderTest, AMissingDatabaseIsToldApart) {
  EXPECT_FALSE(read("{\"error\":\"not_found\",\"reason\":\"no_db_file\"}\n"));
  EXPECT_THAT(recorder.events, ElementsAre(Event(sMissing, "shop", 3, "Change feed error : not_found")));
  EXPECT_EQ(record->state, LS_WaitBeforeRetry);
  EXPECT_TRUE(record->retryTimer.isRunning());
}

TEST_F(FeedReaderTest, RefusedCredentialsComeWithTheServersWord) {
  EXPECT_FALSE(read("{\"error\":\"unauthorized\",\"reason\":\"Name or password is incorrect.\"}\n"));
  EXPECT_THAT(recorder.events, ElementsAre(Event(sError, "shop", 3, "Change feed error : unauthorized")));
}

TEST_F(FeedReaderTest, OnlyTheCallbackTellsOfErrorLines) {
  read("{\"error\":\"not_found\",\"reason\":\"no_db_file\"}\n{\"error\":\"unauthorized\"}\n");
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(FeedReaderTest, LinesReceivedBehindAnErrorLineAreStillHandled) {
  EXPECT_FALSE(read("{\"error\":\"x\"}\n{\"seq\":7,\"id\":\"a\"}\n"));
  EXPECT_THAT(recorder.events,
              ElementsAre(Event(sError, "shop", 3, "Change feed error : x"), Change("shop", 7, "a", {})));
  EXPECT_EQ(record->since, 7);
}

TEST_F(FeedReaderTest, WithoutACallbackTheFeedIsFollowedAllTheSame) {
  Record silent("shop", 3, nullptr, nullptr, ChangesListener::RC_ChangesOnly, 30, 1);
  silent.state = LS_Listening;
  const string text = "{\"seq\":5,\"id\":\"a\"}\n";
  EXPECT_TRUE(ReadFeed(silent, text.data(), text.size()));
  EXPECT_EQ(silent.since, 5);
  EXPECT_TRUE(ReadFeed(silent, "\n", 1));
}

TEST_F(FeedReaderTest, AnExceptionEndsTheTransferAndIsKept) {
  recorder.onEvent = [](const FeedEvent&) { throw std::runtime_error("enough"); };
  EXPECT_FALSE(read("{\"seq\":5,\"id\":\"a\"}\n{\"seq\":6,\"id\":\"b\"}\n"));
  EXPECT_THAT(recorder.events, ElementsAre(Change("shop", 5, "a", {})));
  EXPECT_THROW(record->exceptions.rethrow(), std::runtime_error);
}

TEST_F(FeedReaderTest, AFeedStoppedByItsCallbackIsToldNothingMore) {
  recorder.onEvent = [this](const FeedEvent&) { record->stopped = true; };
  EXPECT_FALSE(read("{\"seq\":5,\"id\":\"a\"}\n{\"seq\":6,\"id\":\"b\"}\n"));
  EXPECT_THAT(recorder.events, ElementsAre(Change("shop", 5, "a", {})));
}

TEST_F(FeedReaderTest, AFeedStoppedByAHeartbeatEndsItsTransfer) {
  recorder.onEvent = [this](const FeedEvent&) { record->stopped = true; };
  EXPECT_FALSE(read("\n"));
}

TEST_F(FeedReaderTest, AHugeLineIsHandledWhole) {
  const string id(3000000, 'x');
  const string text = "{\"seq\":5,\"id\":\"" + id + "\"}\n";
  for (size_t at = 0; at < text.size(); at += 16384) EXPECT_TRUE(read(text.substr(at, 16384)));
  EXPECT_THAT(recorder.events, ElementsAre(Change("shop", 5, id, {})));
}

TEST_F(FeedReaderTest, DeepNestingIsOneMoreLineThatIsNoJson) {
  EXPECT_TRUE(read("{\"a\":" + string(100000, '[') + "\n"));
  EXPECT_EQ(log.count(Error("Invalid json in change feed")), 1u);
}

class ServerFeedReaderTest : public FeedReaderTest {
 protected:
  ServerFeedReaderTest() { record = makeRecordIn("", LS_Listening); }
};

TEST_F(ServerFeedReaderTest, EventsNameTheirDatabase) {
  EXPECT_TRUE(
      read("{\"type\":\"created\",\"db_name\":\"a\",\"seq\":7}\n{\"type\":\"updated\",\"db_name\":\"b\"}\n"
           "{\"type\":\"deleted\",\"db_name\":\"c\"}\n"));
  EXPECT_THAT(recorder.events,
              ElementsAre(Event(ChangesListener::CM_DbCreated, "a", 0), Event(ChangesListener::CM_DbUpdated, "b", 0),
                          Event(ChangesListener::CM_DbDeleted, "c", 0)));
}

TEST_F(ServerFeedReaderTest, AnUpdatedDesignDocumentIsNamed) {
  EXPECT_TRUE(read(R"({"type":"ddoc_updated","db_name":"{<<\"shop\">>,<<\"_design/x\">>}"})"
                   "\n"));
  const FeedEvent expected{ChangesListener::CM_DbDesignDocUpdated,
                           {R"({<<"shop">>,<<"_design/x">>})", "_design/x", {}, "", 0, false}};
  EXPECT_THAT(recorder.events, ElementsAre(expected));
}

TEST_F(ServerFeedReaderTest, ADesignDocumentsNameThatIsTooShortIsOutOfRange) {
  EXPECT_THROW(read("{\"type\":\"ddoc_updated\",\"db_name\":\"abc\"}\n"), std::out_of_range);
  EXPECT_THAT(recorder.events, IsEmpty());
}

TEST_F(ServerFeedReaderTest, SequencesAndErrorsOfDatabasesMeanNothingHere) {
  EXPECT_TRUE(read("{\"seq\":-1,\"id\":\"a\"}\n{\"error\":\"unauthorized\",\"reason\":\"no_db_file\"}\n"));
  EXPECT_THAT(recorder.events, IsEmpty());
  EXPECT_EQ(record->state, LS_Listening);
  EXPECT_EQ(record->since, 0);
}

TEST_F(ServerFeedReaderTest, LineFeedsAreItsHeartbeatToo) {
  EXPECT_TRUE(read("\n"));
  EXPECT_THAT(recorder.events, ElementsAre(Event(sHeartbeat, "", 0)));
}

/// Feeds of both kinds, cut in every way.
class CutFeedTest : public FeedRecordFixture {
 protected:
  /// The events but for heartbeats: how many of those there are is a matter of the pieces.
  vector<FeedEvent> readPieces(const string& db, const vector<string>& pieces) {
    recorder.events.clear();
    const unique_ptr<Record> record = makeRecordIn(db, LS_Listening, 3);
    bool goesOn = true;
    for (const string& piece : pieces) goesOn = goesOn && ReadFeed(*record, piece.data(), piece.size());
    vector<FeedEvent> events = recorder.events;
    std::erase_if(events, [](const FeedEvent& event) { return event.msg == sHeartbeat; });
    EXPECT_EQ(goesOn, record->state == LS_Listening);
    events.push_back(Event(sHeartbeat, goesOn ? "goes on" : "ended", record->since));
    return events;
  }

  void expectSameEventsHoweverCut(const string& db, const string& text) {
    const vector<FeedEvent> whole = readPieces(db, {text});
    for (size_t cut = 1; cut < text.size(); ++cut) {
      EXPECT_EQ(readPieces(db, {text.substr(0, cut), text.substr(cut)}), whole) << "cut at " << cut;
    }
    vector<string> singles;
    for (const char byte : text) singles.emplace_back(1, byte);
    EXPECT_EQ(readPieces(db, singles), whole) << "byte by byte";
  }
};

TEST_F(CutFeedTest, ADatabasesFeedGivesTheSameEventsHoweverItIsCut) {
  expectSameEventsHoweverCut("shop",
                             "\n{\"seq\":5,\"id\":\"a\\n\\\"\",\"changes\":[{\"rev\":\"1-a\"}]}\n"
                             "no json\n{\"seq\":6,\"id\":\"\xC3\xA9\",\"deleted\":true}\r\n"
                             "{\"last_seq\":6}\n\n{\"seq\":7,\"id\":\"b\"}\n{\"seq\":8,\"id\":\"never ended\"}");
}

TEST_F(CutFeedTest, AFeedThatEndsInAnErrorGivesTheSameEventsHoweverItIsCut) {
  expectSameEventsHoweverCut("shop", "{\"seq\":5,\"id\":\"a\"}\n{\"error\":\"not_found\",\"reason\":\"no_db_file\"}\n");
}

TEST_F(CutFeedTest, AFeedThatEndsInABadSequenceGivesTheSameEventsHoweverItIsCut) {
  expectSameEventsHoweverCut("shop", "{\"seq\":5,\"id\":\"a\"}\n{\"seq\":-4,\"id\":\"b\"}\n");
}

TEST_F(CutFeedTest, TheServersFeedGivesTheSameEventsHoweverItIsCut) {
  expectSameEventsHoweverCut("",
                             "{\"type\":\"created\",\"db_name\":\"a\"}\n\n"
                             "{\"type\":\"ddoc_updated\",\"db_name\":\"{<<\\\"a\\\">>,<<\\\"b\\\">>}\"}\n"
                             "{\"type\":\"x\"}\n{\"type\":\"deleted\",\"db_name\":\"a\"}\n");
}

}  // namespace
}  // namespace qx::test
