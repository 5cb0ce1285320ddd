#include "netweft/elasticsearch/SearchResultParserInterface.h"

#include "tests/elasticsearch/RecordingParser.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <stdexcept>
#include <type_traits>

namespace qx::elasticsearch::test {
namespace {

using namespace std::string_view_literals;

static_assert(std::has_virtual_destructor_v<SearchResultParserInterface>);
static_assert(std::is_abstract_v<SearchResultParserInterface>);
static_assert(!std::is_copy_constructible_v<SearchResultParserInterface>);

/// As Elasticsearch 6.8 answers, with everything that a hit can have.
constexpr std::string_view sFullReply =
    R"({"_scroll_id":"DnF1ZXJ5VGhlbkZldGNoBQ==","took":3,"timed_out":false,)"
    R"("_shards":{"total":5,"successful":5,"skipped":0,"failed":0},)"
    R"("hits":{"total":12,"max_score":1.5,"hits":[)"
    R"({"_index":"things","_type":"_doc","_id":"a\/1","_score":1.5,)"
    R"("_source":{"type":"thing","title":"one \"} \\","nested":{"type":"no","list":[{"x":1}]}},)"
    R"("highlight":{"title":["<em>one<\/em>"]}},)"
    R"({"_index":"things","_type":"_doc","_id":"\u00e9","_score":null,)"
    R"("_source":{"n":[1,2,3],"type":"other"},"sort":[7]}]},)"
    R"("aggregations":{"kinds":{"buckets":[{"key":"x","doc_count":2}]}}})";

/// The same hits as "?pretty" gives them.
constexpr std::string_view sPrettyReply = R"({
  "took" : 3,
  "timed_out" : false,
  "hits" : {
    "total" : 2,
    "max_score" : 1.0,
    "hits" : [
      {
        "_index" : "things",
        "_type" : "_doc",
        "_id" : "1",
        "_score" : 1.0,
        "_source" : {
          "title" : "one"
        }
      }
    ]
  }
}
)";

string HitsReply(const string& hits) { return R"({"hits":{"total":1,"hits":[)" + hits + "]}}"; }

const vector<string>& AllReplies() {
  static const vector<string> replies = {
      string(sFullReply),
      string(sPrettyReply),
      HitsReply(""),
      HitsReply(R"({"_id":"1","_source":{}})"),
      HitsReply(R"({"_id":"\ud800","_source":{}},{"_id":"2"})"),
      HitsReply(R"({"_id":"","_source":{"type":"","a":"type"}})"),
      R"({"hits":{"total":{"value":10000,"relation":"gte"},"hits":[{"_id":"1"}]}})",
      R"({"hits":{"total":3,"total":4,"hits":[]}})",
      R"({"error":{"root_cause":[{"type":"t","reason":"r"}],"type":"t"},"status":404})",
      R"({"error":{"failed_shards":[{"shard":0,"reason":{"type":"t"}}],"type":"t"},"status":400})",
      R"({"error":"plain","status":400})",
      "not json at all { [ \"",
      "}}}]]]{{{\"hits\"\"hits\"",
  };
  return replies;
}

/// The virtual table's entry of a virtual member function, as the usual ABI numbers them; a destructor takes two.
template <class Function>
size_t VirtualSlot(Function function) {
  size_t word = 0;
  static_assert(sizeof function >= sizeof word);
  std::memcpy(&word, &function, sizeof word);
  return (word - 1) / sizeof(void*);
}

struct Exposing : SearchResultParserInterface {
  using SearchResultParserInterface::onHit;
};

TEST(SearchResultParser, TheHitComesBehindTheDestructorInTheVirtualTable) {
  EXPECT_EQ(VirtualSlot(&Exposing::onHit), 2U);
}

TEST(SearchResultParser, HandsOverEachHitWithItsParts) {
  const Reading reading = Read(sFullReply);
  ASSERT_EQ(reading.hits.size(), 2U);
  EXPECT_EQ(reading.hits[0],
            (Hit{"a/1", R"({"type":"thing","title":"one \"} \\","nested":{"type":"no","list":[{"x":1}]}})", "1.5",
                 R"({"title":["<em>one<\/em>"]})", "thing"}));
}

TEST(SearchResultParser, SourceReachesTheSubclassByteForByte) {
  const string source = "{ \"a\" : \"\\u00e9\\/\" ,\n\t\"b\":[ 1 , {\"c\":{ } } ] }";
  EXPECT_EQ(Read(HitsReply(R"({"_id":"1","_source": )" + source + "}")).hits.at(0).source, source);
}

TEST(SearchResultParser, ReadsTotalAndScrollId) {
  const Reading reading = Read(sFullReply);
  EXPECT_EQ(reading.total, 12);
  EXPECT_EQ(reading.scrollId, "DnF1ZXJ5VGhlbkZldGNoBQ==");
}

TEST(SearchResultParser, ACleanReplyIsAcceptedAndFinishes) {
  const Reading reading = Read(sFullReply);
  EXPECT_TRUE(reading.accepted);
  EXPECT_TRUE(reading.finished);
  EXPECT_EQ(reading.finishError, "");
}

TEST(SearchResultParser, FinishLeavesTheErrorTextAloneOnSuccess) {
  RecordingParser parser;
  string error = "untouched";
  EXPECT_TRUE(parser.finish(&error));
  EXPECT_EQ(error, "untouched");
}

TEST(SearchResultParser, ReadsAPrettyReply) {
  const Reading reading = Read(sPrettyReply);
  EXPECT_TRUE(reading.finished);
  EXPECT_EQ(reading.total, 2);
  ASSERT_EQ(reading.hits.size(), 1U);
  EXPECT_EQ(reading.hits[0].id, "1");
  EXPECT_EQ(reading.hits[0].source, "{\n          \"title\" : \"one\"\n        }");
  EXPECT_EQ(reading.hits[0].score, " 1.0");
}

TEST(SearchResultParser, AReplyWithoutHitsHandsNothingOver) {
  const Reading reading = Read(R"({"took":1,"hits":{"total":0,"max_score":null,"hits":[]}})");
  EXPECT_TRUE(reading.finished);
  EXPECT_TRUE(reading.hits.empty());
  EXPECT_EQ(reading.total, 0);
}

TEST(SearchResultParser, AHitIsHandedOverAsSoonAsItIsComplete) {
  RecordingParser parser;
  const string begin = R"({"hits":{"hits":[{"_id":"1","_source":{}})";
  ASSERT_TRUE(parser.addData(begin.data(), begin.size()));
  EXPECT_EQ(parser.hits.size(), 1U);
}

// The cut.

TEST(SearchResultParser, ACutAnywhereGivesTheSameAsOnePiece) {
  for (const string& reply : AllReplies()) {
    const Reading whole = Read(reply);
    for (size_t cut = 0; cut <= reply.size(); ++cut) ASSERT_EQ(ReadCutAt(reply, cut), whole) << cut << " of " << reply;
  }
}

TEST(SearchResultParser, OneByteAtATimeGivesTheSameAsOnePiece) {
  for (const string& reply : AllReplies()) EXPECT_EQ(ReadByteByByte(reply), Read(reply)) << reply;
}

TEST(SearchResultParser, ChunksOfAnySizeGiveTheSameAsOnePiece) {
  std::mt19937 random(42);
  const Reading whole = Read(sFullReply);
  for (int round = 0; round < 200; ++round) {
    vector<std::string_view> chunks;
    for (size_t at = 0; at < sFullReply.size();) {
      const size_t size = random() % 40;
      chunks.push_back(sFullReply.substr(at, size));
      at += size;
    }
    ASSERT_EQ(ReadChunks(chunks), whole);
  }
}

TEST(SearchResultParser, AnEmptyChunkChangesNothing) {
  RecordingParser parser;
  EXPECT_TRUE(parser.addData(nullptr, 0));
  EXPECT_TRUE(parser.addData("{\"hits", 6));
  EXPECT_TRUE(parser.addData("", 0));
  EXPECT_TRUE(parser.addData("\":{\"total\":7}}", 13));
  EXPECT_EQ(parser.getTotalHitCount(), 7);
}

// The number of hits.

TEST(SearchResultParser, ASecondTotalIsAnError) {
  const Reading reading = Read(R"({"hits":{"total":3,"total":4,"hits":[]}})");
  EXPECT_FALSE(reading.accepted);
  EXPECT_EQ(reading.total, 4);
  EXPECT_EQ(reading.finishError, "Finish error : { => 2, [ => 0, hittag => 1, nextis => 0, error => 1");
}

TEST(SearchResultParser, ASecondTotalIsTakenWhenTheFirstWasZero) {
  const Reading reading = Read(R"({"hits":{"total":0,"total":4,"hits":[]}})");
  EXPECT_TRUE(reading.finished);
  EXPECT_EQ(reading.total, 4);
}

TEST(SearchResultParser, ATotalThatIsAnObjectGivesItsFirstNumber) {
  const Reading reading = Read(R"({"hits":{"total":{"value":10000,"relation":"gte"},"hits":[]}})");
  EXPECT_TRUE(reading.finished);
  EXPECT_EQ(reading.total, 10000);
}

TEST(SearchResultParser, ATotalAtTheEndOfItsObjectIsRead) {
  EXPECT_EQ(Read(R"({"hits":{"hits":[],"total":8}})").total, 8);
}

TEST(SearchResultParser, TheTotalOfTheShardsIsNotTaken) {
  EXPECT_EQ(Read(R"({"_shards":{"total":5},"hits":{"hits":[]}})").total, 0);
}

TEST(SearchResultParser, ATotalBeyondAnIntStopsAtTheLargest) {
  EXPECT_EQ(Read(R"({"hits":{"total":99999999999999999999,"hits":[]}})").total, 2147483647);
  EXPECT_EQ(Read(R"({"hits":{"total":4294967297,"hits":[]}})").total, 2147483647);
}

TEST(SearchResultParser, ATotalThatIsNoNumberIsZero) {
  EXPECT_EQ(Read(R"({"hits":{"total":null,"hits":[]}})").total, 0);
}

// What a hit lacks.

TEST(SearchResultParser, AHitWithoutSourceGetsThatOfTheHitBefore) {
  const Reading reading = Read(HitsReply(R"({"_id":"1","_source":{"a":1}},{"_id":"2"})"));
  ASSERT_EQ(reading.hits.size(), 2U);
  EXPECT_EQ(reading.hits[1].id, "2");
  EXPECT_EQ(reading.hits[1].source, R"({"a":1})");
}

TEST(SearchResultParser, AHitWithoutTheOtherPartsGetsThoseOfTheHitBefore) {
  const Reading reading =
      Read(HitsReply(R"({"_id":"1","_score":2,"_source":{"type":"t"},"highlight":{"a":[]}},{"_source":{"b":1}})"));
  ASSERT_EQ(reading.hits.size(), 2U);
  EXPECT_EQ(reading.hits[1], (Hit{"1", R"({"b":1})", "2", R"({"a":[]})", "t"}));
}

TEST(SearchResultParser, AnEmptyTypeReplacesThatOfTheHitBefore) {
  const Reading reading = Read(HitsReply(R"({"_source":{"type":"t"}},{"_source":{"type":""}})"));
  ASSERT_EQ(reading.hits.size(), 2U);
  EXPECT_EQ(reading.hits[1].type, "");
}

TEST(SearchResultParser, ATypeThatIsNoStringTakesTheNextString) {
  EXPECT_EQ(Read(HitsReply(R"({"_source":{"type":5,"name":"x"}})")).hits.at(0).type, "name");
}

TEST(SearchResultParser, OnlyATypeOneLevelInsideTheSourceCounts) {
  EXPECT_EQ(Read(HitsReply(R"({"_source":{"a":{"type":"deep"}}})")).hits.at(0).type, "");
}

TEST(SearchResultParser, TheTypeStaysEscaped) {
  EXPECT_EQ(Read(HitsReply(R"({"_source":{"type":"a\/b"}})")).hits.at(0).type, R"(a\/b)");
}

TEST(SearchResultParser, TheSubclassMayTakeTheTextsAway) {
  class Taking final : public SearchResultParserInterface {
   public:
    vector<string> sources;

   private:
    void onHit(string&, string& source, string&, string&, string&) override { sources.push_back(std::move(source)); }
  };
  Taking parser;
  const string reply = HitsReply(R"({"_source":{"a":1}},{"_source":{"b":2}})");
  EXPECT_TRUE(parser.addData(reply.data(), reply.size()));
  EXPECT_EQ(parser.sources, (vector<string>{R"({"a":1})", R"({"b":2})"}));
}

TEST(SearchResultParser, AnExceptionOfTheSubclassReachesTheCaller) {
  class Throwing final : public SearchResultParserInterface {
    void onHit(string&, string&, string&, string&, string&) override { throw std::runtime_error("enough"); }
  };
  Throwing parser;
  const string reply = HitsReply("{}");
  EXPECT_THROW(parser.addData(reply.data(), reply.size()), std::runtime_error);
}

// Strings.

TEST(SearchResultParser, AnEscapedQuoteDoesNotEndAString) {
  const Reading reading = Read(HitsReply(R"({"_id":"a\"b","_source":{"x":"\"}"}})"));
  EXPECT_TRUE(reading.finished);
  EXPECT_EQ(reading.hits.at(0).id, "a\"b");
  EXPECT_EQ(reading.hits.at(0).source, R"({"x":"\"}"})");
}

TEST(SearchResultParser, AQuoteBehindADoubleBackslashEndsTheString) {
  const Reading reading = Read(HitsReply(R"({"_id":"a\\","_source":{"x":"\\"}})"));
  EXPECT_TRUE(reading.finished);
  EXPECT_EQ(reading.hits.at(0).id, "a\\");
  EXPECT_EQ(reading.hits.at(0).source, R"({"x":"\\"})");
}

TEST(SearchResultParser, AnIdKeepsAnEscapedNul) {
  EXPECT_EQ(Read(HitsReply(R"({"_id":"a\u0000b"})")).hits.at(0).id, string("a\0b", 3));
}

TEST(SearchResultParser, AnEmptyIdIsEmpty) {
  EXPECT_EQ(Read(HitsReply(R"({"_id":"1"},{"_id":""})")).hits.at(1).id, "");
}

TEST(SearchResultParser, AnIdThatCannotBeUnescapedEndsTheReading) {
  const Reading reading = Read(HitsReply(R"({"_id":"1"},{"_id":"\ud83d\ude00"},{"_id":"3"})"));
  EXPECT_FALSE(reading.accepted);
  EXPECT_FALSE(reading.finished);
  EXPECT_EQ(reading.errorMessage, "json to utf8 conversion error");
  EXPECT_EQ(reading.hits.size(), 1U);
}

TEST(SearchResultParser, AnIdThatIsNotUtf8EndsTheReading) {
  EXPECT_EQ(Read(HitsReply("{\"_id\":\"\xff\"}")).errorMessage, "json to utf8 conversion error");
}

// Error replies.

TEST(SearchResultParser, AnErrorReplyIsRefusedAndItsTextGathered) {
  const string error = R"({"root_cause":[{"type":"index_not_found_exception","reason":"no such index","index":"x"}],)"
                       R"("type":"index_not_found_exception","reason":"no such index","index":"x"})";
  const Reading reading = Read(R"({"error":)" + error + R"(,"status":404})");
  EXPECT_FALSE(reading.accepted);
  EXPECT_EQ(reading.errorMessage, "\":" + error + ",\"status\":404}");
  EXPECT_EQ(reading.finishError, "Finish error : { => 0, [ => 0, hittag => 0, nextis => 0, error => 1");
}

TEST(SearchResultParser, TheErrorTextIsThatOfTheInnermostReasonWhereThereIsOne) {
  const Reading reading =
      Read(R"({"error":{"root_cause":[],"failed_shards":[{"shard":0,"reason":{"type":"query_shard_exception"}}]},)"
           R"("status":400})");
  EXPECT_FALSE(reading.accepted);
  EXPECT_EQ(reading.errorMessage, R"({"type":"query_shard_exception"})");
}

TEST(SearchResultParser, NothingIsReadOnceTheErrorTextIsComplete) {
  RecordingParser parser;
  const string reply = R"({"error":{"a":{"b":{}}}})";
  EXPECT_FALSE(parser.addData(reply.data(), reply.size()));
  const string hits = HitsReply(R"({"_id":"1"})");
  EXPECT_FALSE(parser.addData(hits.data(), hits.size()));
  EXPECT_TRUE(parser.hits.empty());
  EXPECT_EQ(parser.getErrorMessage(), "{}");
}

TEST(SearchResultParser, AnErrorBehindHitsRefusesTheReply) {
  const Reading reading = Read(R"({"hits":{"hits":[{"_id":"1","_source":{"a":1}}]},"error":"late"})");
  EXPECT_FALSE(reading.accepted);
  EXPECT_EQ(reading.hits.size(), 1U);
  EXPECT_EQ(reading.errorMessage, R"({"a":1}":"late"})");
}

// What `finish` says.

TEST(SearchResultParser, FinishNamesWhatIsOpen) {
  EXPECT_EQ(Read(R"({"hits":{"hits":[{"_id")").finishError,
            "Finish error : { => 3, [ => 1, hittag => 2, nextis => 1, error => 0");
  EXPECT_EQ(Read(R"({"_scroll_id")").finishError,
            "Finish error : { => 1, [ => 0, hittag => 0, nextis => 2, error => 0");
  EXPECT_EQ(Read("[]]}").finishError, "Finish error : { => -1, [ => -1, hittag => 0, nextis => 0, error => 0");
}

TEST(SearchResultParser, EachOpenThingAloneKeepsFinishFromSucceeding) {
  for (const std::string_view reply : {"{"sv, "["sv, R"({"hits"})"sv, R"({"_scroll_id"})"sv, R"({"error"})"sv}) {
    EXPECT_FALSE(Read(reply).finished) << reply;
  }
}

TEST(SearchResultParser, FinishNeedsNoErrorText) {
  RecordingParser parser;
  parser.addData("{", 1);
  EXPECT_FALSE(parser.finish(nullptr));
}

TEST(SearchResultParser, ATruncatedReplyDoesNotFinish) {
  for (size_t size = 1; size < sFullReply.size(); ++size) {
    ASSERT_FALSE(Read(sFullReply.substr(0, size)).finished) << size;
  }
}

TEST(SearchResultParser, AnEmptyReplyFinishes) { EXPECT_TRUE(Read("").finished); }

// Hostile replies.

TEST(SearchResultParser, ANumberThatBelongsNowhereIsAnError) {
  const Reading reading = Read(R"({"hits":{"total""hits""hits":1,)");
  EXPECT_FALSE(reading.accepted);
  EXPECT_EQ(reading.finishError, "Finish error : { => 2, [ => 0, hittag => 3, nextis => 0, error => 1");
}

TEST(SearchResultParser, RandomTextNeitherCrashesNorDependsOnTheCut) {
  std::mt19937 random(7);
  const vector<std::string_view> pieces = {"{",
                                           "}",
                                           "[",
                                           "]",
                                           ":",
                                           ",",
                                           "\"",
                                           "\\",
                                           "\"hits\"",
                                           "\"_id\"",
                                           "\"_source\"",
                                           "\"total\"",
                                           "\"_score\"",
                                           "\"type\"",
                                           "\"error\"",
                                           "\"_scroll_id\"",
                                           "\"highlight\"",
                                           "12",
                                           "\xff"};
  for (int round = 0; round < 2000; ++round) {
    string text;
    const size_t count = random() % 60;
    for (size_t i = 0; i < count; ++i) text += pieces[random() % pieces.size()];
    const Reading whole = Read(text);
    ASSERT_EQ(ReadByteByByte(text), whole) << text;
    ASSERT_EQ(ReadCutAt(text, random() % (text.size() + 1)), whole) << text;
  }
}

TEST(SearchResultParser, AMillionOpenBracketsAreCounted) {
  EXPECT_EQ(Read(string(1000000, '{')).finishError,
            "Finish error : { => 1000000, [ => 0, hittag => 0, nextis => 0, error => 0");
}

}  // namespace
}  // namespace qx::elasticsearch::test
