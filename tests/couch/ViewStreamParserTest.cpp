#include "netweft/couch/internal/ViewStreamParser.h"

#include "tests/couch/RowRecorder.h"
#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <stdexcept>

namespace qx::test {
namespace {

using couch::ViewStreamParser;
using testing::ElementsAre;
using testing::IsEmpty;

/// A view with everything that could mislead a counter of braces.
const string sTrickyView = R"({"total_rows":4,"offset":0,"rows":[)"
                           "\r\n"
                           R"({"id":"a","key":["x",{"y":[1,2]}],"value":{"deep":{"er":[{"}":"{"}]}}},)"
                           "\r\n"
                           R"({"id":"b }]","key":"quote \" brace } bracket ]","value":"{[\\"},)"
                           "\r\n"
                           R"({"id":"c\\","key":null,"value":"\\\"}"},)"
                           "\r\n"
                           R"({"id":"e","key":"\u007d","value":{}},)"
                           "\r\n"
                           R"({"id":"d","key":{"k":1},"value":[]})"
                           "\r\n]}\n";

const vector<string> sTrickyRows = {
    R"(a|["x",{"y":[1,2]}]|{"deep":{"er":[{"}":"{"}]}})",
    R"(b }]|quote " brace } bracket ]|{[\)",
    R"(c\|null|\"})",
    "e|}|{}",
    R"(d|{"k":1}|[])",
};

class ViewStreamParserTest : public testing::Test {
 protected:
  bool scan(const string& text) { return parser.scan(text.data(), text.size()); }

  /// Scans in pieces that end at the given offset and at the end.
  vector<string> scanCutAt(const string& text, size_t cut) {
    RowRecorder pieces;
    ViewStreamParser cutParser(RowRecorder::Record, &pieces, nullptr);
    EXPECT_TRUE(cutParser.scan(text.data(), cut));
    EXPECT_TRUE(cutParser.scan(text.data() + cut, text.size() - cut));
    return pieces.rows;
  }

  LogCapture log;
  RowRecorder recorder;
  bool cancelFlag = false;
  ViewStreamParser parser{RowRecorder::Record, &recorder, &cancelFlag};
};

TEST_F(ViewStreamParserTest, ItsFieldsStandInTheirOrder) {
  const vector<const void*> fields = {&parser.body,       &parser.bracketCounter, &parser.squareBracketCounter,
                                      &parser.inString,   &parser.escaped,        &parser.rowStart,
                                      &parser.bodyOffset, &parser.receiveBuffer,  &parser.rowCount,
                                      &parser.callback,   &parser.userData,       &parser.cancelFlag};
  EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end()));
}

TEST_F(ViewStreamParserTest, AnEmptyViewHasNoRows) {
  EXPECT_TRUE(scan(R"({"total_rows":0,"offset":0,"rows":[]})"));
  EXPECT_THAT(recorder.rows, IsEmpty());
  EXPECT_EQ(parser.rowCount, 0u);
}

TEST_F(ViewStreamParserTest, EachRowIsDeliveredWithItsThreeParts) {
  EXPECT_TRUE(scan(R"({"rows":[{"id":"a","key":1,"value":"x"},{"id":"b","key":2,"value":{"rev":"1-z"}}]})"));
  EXPECT_THAT(recorder.rows, ElementsAre("a|1|x", R"(b|2|{"rev":"1-z"})"));
  EXPECT_EQ(parser.rowCount, 2u);
}

TEST_F(ViewStreamParserTest, BracesInsideStringsAndNestedValuesDoNotEndARow) {
  EXPECT_TRUE(scan(sTrickyView));
  EXPECT_EQ(recorder.rows, sTrickyRows);
}

TEST_F(ViewStreamParserTest, AViewCutAnywhereGivesTheSameRows) {
  for (size_t cut = 0; cut <= sTrickyView.size(); ++cut) {
    EXPECT_EQ(scanCutAt(sTrickyView, cut), sTrickyRows) << "cut at " << cut;
  }
}

TEST_F(ViewStreamParserTest, AViewByteByByteGivesTheSameRows) {
  for (const char byte : sTrickyView) EXPECT_TRUE(parser.scan(&byte, 1));
  EXPECT_EQ(recorder.rows, sTrickyRows);
}

TEST_F(ViewStreamParserTest, ARowIsDeliveredWithItsLastBrace) {
  scan(R"({"rows":[{"id":"a","key":1,"value":2)");
  EXPECT_THAT(recorder.rows, IsEmpty());
  scan("}");
  EXPECT_THAT(recorder.rows, ElementsAre("a|1|2"));
}

TEST_F(ViewStreamParserTest, OnlyTheRowInProgressAndTheTailOfTheLastAreKept) {
  scan(R"({"rows":[{"id":"a","key":1,"value":2},{"id":"b")");
  EXPECT_EQ(string(parser.receiveBuffer.begin(), parser.receiveBuffer.end()), R"({"id":"b")");
  scan(R"(,"key":1,"value":2},)");
  EXPECT_EQ(string(parser.receiveBuffer.begin(), parser.receiveBuffer.end()), "},");
  EXPECT_EQ(parser.rowStart, 0u);
}

TEST_F(ViewStreamParserTest, WithoutACallbackNothingIsParsedOrCounted) {
  ViewStreamParser silent(nullptr, nullptr, nullptr);
  const string text = R"({"rows":[{not json},{"id":"a"}]})";
  EXPECT_TRUE(silent.scan(text.data(), text.size()));
  EXPECT_EQ(silent.rowCount, 0u);
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(ViewStreamParserTest, ACallbackThatWantsNoMoreFailsTheScanSilently) {
  recorder.onRow = [] { return false; };
  EXPECT_FALSE(scan(R"({"rows":[{"id":"a","key":1,"value":2},{"id":"b","key":1,"value":2}]})"));
  EXPECT_THAT(recorder.rows, ElementsAre("a|1|2"));
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST_F(ViewStreamParserTest, TheCallbackMayTakeKeyAndValueAway) {
  const auto takeAway = [](const string&, qxVariant& key, qxVariant& value, void* userData) {
    static_cast<qxVariant*>(userData)->swap(value);
    key = "changed";
    return true;
  };
  qxVariant taken;
  ViewStreamParser taking(takeAway, &taken, nullptr);
  const string text = R"({"rows":[{"id":"a","key":1,"value":[1,2]}]})";
  EXPECT_TRUE(taking.scan(text.data(), text.size()));
  EXPECT_EQ(taken.toString(), "[1,2]");
}

TEST_F(ViewStreamParserTest, AnExceptionOfTheCallbackPasses) {
  recorder.onRow = []() -> bool { throw std::runtime_error("enough"); };
  EXPECT_THROW(scan(R"({"rows":[{"id":"a","key":1,"value":2}]})"), std::runtime_error);
}

TEST_F(ViewStreamParserTest, AnIdThatIsNoTextComesAsText) {
  EXPECT_TRUE(scan(R"({"rows":[{"id":12,"key":1,"value":2},{"id":{"a":1},"key":1,"value":2}]})"));
  EXPECT_THAT(recorder.rows, ElementsAre("12|1|2", R"({"a":1}|1|2)"));
}

TEST_F(ViewStreamParserTest, AMalformedRowIsLoggedAndFailsTheScan) {
  EXPECT_FALSE(scan(R"({"rows":[{"id":oops}]})"));
  EXPECT_THAT(log.getLines(), ElementsAre(Error(R"(Error while parsing result, invalid json {"id":oops})")));
  EXPECT_EQ(parser.rowCount, 1u);
}

TEST_F(ViewStreamParserTest, ARowWithoutAnIdIsLoggedAndFailsTheScan) {
  EXPECT_FALSE(scan(R"({"rows":[{"key":"a","error":"not_found"}]})"));
  EXPECT_THAT(log.getLines(), ElementsAre(Detail("", "On error BracketCounter 2, SquareBracketCounter 1, cancelflag 0"),
                                          Error("Error while parsing result, missing 'id' entry in json "
                                                R"({"key":"a","error":"not_found"})")));
  EXPECT_THAT(recorder.rows, IsEmpty());
}

TEST_F(ViewStreamParserTest, ARowWithoutAKeyIsNamedSo) {
  EXPECT_FALSE(scan(R"({"rows":[{"id":"a"}]})"));
  EXPECT_EQ(log.count(Error(R"(Error while parsing result, missing 'key' entry in json {"id":"a"})")), 1u);
}

TEST_F(ViewStreamParserTest, ARowWithoutAValueIsNamedSo) {
  EXPECT_FALSE(scan(R"({"rows":[{"id":"a","key":null}]})"));
  EXPECT_EQ(log.count(Error(R"(Error while parsing result, missing 'value' entry in json {"id":"a","key":null})")), 1u);
}

TEST_F(ViewStreamParserTest, TheDetailLineTellsOfARaisedCancelFlag) {
  cancelFlag = true;
  EXPECT_FALSE(scan(R"({"rows":[{}]})"));
  EXPECT_EQ(log.count(Detail("", "On error BracketCounter 2, SquareBracketCounter 1, cancelflag 1")), 1u);
}

TEST_F(ViewStreamParserTest, RowsBeforeABadOneStayDelivered) {
  EXPECT_FALSE(scan(R"({"rows":[{"id":"a","key":1,"value":2},{}]})"));
  EXPECT_THAT(recorder.rows, ElementsAre("a|1|2"));
}

TEST_F(ViewStreamParserTest, AHugeBadRowIsCutInTheLog) {
  EXPECT_FALSE(scan(R"({"rows":[{"id":")" + string(100000, 'x') + R"("}]})"));
  EXPECT_LT(log.getLines(LT_Error).at(0).text.size(), 5000u);
}

TEST_F(ViewStreamParserTest, ClosingBracesWithoutOpeningOnesHarmNothing) {
  EXPECT_TRUE(scan("}]}}]]\\\"\"{[[[{"));
  EXPECT_THAT(recorder.rows, IsEmpty());
}

TEST_F(ViewStreamParserTest, BytesThatAreNotUtf8FailTheirRowAlone) {
  EXPECT_FALSE(scan("{\"rows\":[{\"id\":\"a\",\"key\":1,\"value\":2},{\"id\":\"\xFF\",\"key\":1,\"value\":2}]}"));
  EXPECT_THAT(recorder.rows, ElementsAre("a|1|2"));
}

}  // namespace
}  // namespace qx::test
