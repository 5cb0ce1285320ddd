#include "netweft/couch/internal/ViewRequest.h"

#include "netweft/couch/internal/ViewStreamParser.h"
#include "netweft/http/internal/CurlEasy.h"
#include "tests/support/CurlTrace.h"

#include <gmock/gmock.h>

namespace qx::test {
namespace {

using couch::BuildKeysBody;
using couch::SetUpViewRequest;
using couch::ViewStreamParser;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

string ToText(const unique_ptr<bytes>& body) { return body == nullptr ? "null" : string(body->begin(), body->end()); }

TEST(BuildKeysBodyTest, KeysStandInTheirOrder) {
  const vector<string> keys = {"b", "a"};
  EXPECT_EQ(ToText(BuildKeysBody(&keys)), R"({"keys":["b","a"]})");
}

TEST(BuildKeysBodyTest, KeysAreEscaped) {
  const vector<string> keys = {"quote \" back \\ line \n \xC3\xA9", string("a\0b", 3)};
  EXPECT_EQ(ToText(BuildKeysBody(&keys)), "{\"keys\":[\"quote \\\" back \\\\ line \\n \xC3\xA9\",\"a\\u0000b\"]}");
}

TEST(BuildKeysBodyTest, NoKeysMakeNoBody) {
  const vector<string> keys;
  EXPECT_EQ(BuildKeysBody(&keys), nullptr);
  EXPECT_EQ(BuildKeysBody(nullptr), nullptr);
}

TEST(BuildKeysBodyTest, PlainKeysFitInWhatIsReserved) {
  const vector<string> keys(1000, "0123456789");
  const unique_ptr<bytes> body = BuildKeysBody(&keys);
  EXPECT_EQ(body->capacity(), 22u + 1000u * 13u);
  EXPECT_LE(body->size(), body->capacity());
}

const vector<string> sCommonOptions = {
    "WRITEFUNCTION set",
    "XFERINFOFUNCTION set",
    "XFERINFODATA set",
    "NOPROGRESS 1",
    "NOBODY 0",
    "CUSTOMREQUEST null",
    "UPLOAD 0",
    "READFUNCTION null",
    "POSTFIELDSIZE 0",
    "HEADERDATA null",
    "HEADERFUNCTION null",
};

class ViewRequestTest : public testing::Test {
 protected:
  int setUp() {
    trace.clear();
    return SetUpViewRequest(handle.get(), &parser, headers);
  }

  http::impl::CurlEasyPtr handle = http::impl::CreateEasyHandle();
  ViewStreamParser parser{nullptr, nullptr, nullptr};
  list<string> headers;
  CurlTrace trace;
};

TEST_F(ViewRequestTest, AGetSetsItsOptionsInOrder) {
  EXPECT_EQ(setUp(), 0);
  vector<string> expected = sCommonOptions;
  expected.push_back("POST 0");
  EXPECT_THAT(trace.getTexts(), ElementsAreArray(expected));
  EXPECT_THAT(headers, IsEmpty());
}

TEST_F(ViewRequestTest, APostSetsItsOptionsInOrder) {
  parser.body = std::make_unique<bytes>(17, 'x');
  EXPECT_EQ(setUp(), 0);
  vector<string> expected = sCommonOptions;
  for (const char* option : {"POST 1", "READFUNCTION set", "POSTFIELDSIZE 17"}) expected.push_back(option);
  EXPECT_THAT(trace.getTexts(), ElementsAreArray(expected));
}

TEST_F(ViewRequestTest, APostTellsTheTypeOfItsBody) {
  parser.body = std::make_unique<bytes>(17, 'x');
  setUp();
  EXPECT_THAT(headers, ElementsAre("Content-Type: application/json"));
}

TEST_F(ViewRequestTest, TheParserIsTheDataOfTheTransferFunction) {
  setUp();
  EXPECT_EQ(trace.getCalls().at(2).pointer, &parser);
}

TEST_F(ViewRequestTest, AFailedOptionIsReportedAndTheOthersAreSet) {
  trace.failOption(CURLOPT_NOBODY, 48);
  trace.failOption(CURLOPT_POST, 3);
  EXPECT_EQ(setUp(), 48 | 3);
  EXPECT_EQ(trace.getCalls().size(), sCommonOptions.size() + 1);
}

/// The functions that a set-up handed to libcurl, as libcurl would call them.
class ViewTransferTest : public ViewRequestTest {
 protected:
  ViewTransferTest() { parser.cancelFlag = &cancelFlag; }

  const void* find(const string& option) {
    const void* found = nullptr;
    for (const CurlCall& call : trace.getCalls()) {
      if (call.text == option + " set") found = call.pointer;
    }
    return found;
  }
  size_t write(string text) {
    using Function = size_t (*)(char*, size_t, size_t, void*);
    return reinterpret_cast<Function>(const_cast<void*>(find("WRITEFUNCTION")))(text.data(), 1, text.size(), &parser);
  }
  size_t read(string& room) {
    using Function = size_t (*)(char*, size_t, size_t, void*);
    return reinterpret_cast<Function>(const_cast<void*>(find("READFUNCTION")))(room.data(), 1, room.size(), &parser);
  }
  int checkTransfer() {
    using Function = int (*)(void*, curl_off_t, curl_off_t, curl_off_t, curl_off_t);
    return reinterpret_cast<Function>(const_cast<void*>(find("XFERINFOFUNCTION")))(&parser, 0, 0, 0, 0);
  }
  void setUpWithBody(const string& text) {
    parser.body = std::make_unique<bytes>(text.begin(), text.end());
    setUp();
  }

  bool cancelFlag = false;
};

TEST_F(ViewTransferTest, BytesThatWereScannedAreAccepted) {
  setUp();
  EXPECT_EQ(write("{\"rows\":["), 9u);
}

TEST_F(ViewTransferTest, AFailedScanEndsTheTransfer) {
  parser.callback = [](const string&, qxVariant&, qxVariant&, void*) { return false; };
  setUp();
  const string text = R"({"rows":[{"id":"a","key":1,"value":2}]})";
  EXPECT_EQ(write(text), text.size() + 1);
}

TEST_F(ViewTransferTest, ARaisedCancelFlagEndsTheTransferOnBytesReceived) {
  setUp();
  cancelFlag = true;
  EXPECT_EQ(write("{"), 2u);
}

TEST_F(ViewTransferTest, TheBodyGoesOutInPiecesAsRoomIsGiven) {
  setUpWithBody("12345");
  string room(3, ' ');
  EXPECT_EQ(read(room), 3u);
  EXPECT_EQ(room, "123");
  EXPECT_EQ(read(room), 2u);
  EXPECT_EQ(room.substr(0, 2), "45");
  EXPECT_EQ(read(room), 0u);
}

TEST_F(ViewTransferTest, ReadingABodyThatIsNotThereAborts) {
  setUpWithBody("12345");
  parser.body = nullptr;
  string room(3, ' ');
  EXPECT_EQ(read(room), size_t{CURL_READFUNC_ABORT});
}

TEST_F(ViewTransferTest, ARaisedCancelFlagAbortsReadingTheBody) {
  setUpWithBody("12345");
  cancelFlag = true;
  string room(3, ' ');
  EXPECT_EQ(read(room), size_t{CURL_READFUNC_ABORT});
}

TEST_F(ViewTransferTest, TheTransferFunctionTellsTheCancelFlag) {
  setUp();
  EXPECT_EQ(checkTransfer(), 0);
  cancelFlag = true;
  EXPECT_NE(checkTransfer(), 0);
}

}  // namespace
}  // namespace qx::test
