#include "netweft/base/json/JsonStreamer.h"

#include "tests/base/JsonDevice.h"
#include "tests/base/JsonSupport.h"

#include <gtest/gtest.h>

#include <random>

namespace qx::json {
namespace {

using namespace std::string_literals;

TEST(JsonStreamer, AnObjectWithoutMembersIsBracketsAlone) {
  for (const bool pretty : {false, true}) {
    JsonDevice device;
    JsonStreamer streamer(&device, pretty);
    EXPECT_TRUE(streamer.begin(LVL_Object));
    EXPECT_TRUE(streamer.end());
    EXPECT_EQ(device.text, "{}");
  }
}

TEST(JsonStreamer, WritesNamedArraysOfTexts) {
  JsonDevice device;
  JsonStreamer streamer(&device, false);
  EXPECT_TRUE(streamer.begin(LVL_Object));
  streamer.arrayBegin("keys");
  streamer.arrayString("a");
  streamer.arrayString("b\"/\n");
  streamer.arrayEnd();
  streamer.arrayBegin("none");
  streamer.arrayEnd();
  streamer.arrayBegin("q\"");
  streamer.arrayString("\0"s);
  streamer.arrayEnd();
  EXPECT_TRUE(streamer.end());
  EXPECT_EQ(device.text, R"({"keys":["a","b\"/\n"],"none":[],"q\"":["\u0000"]})");
}

TEST(JsonStreamer, AnOutermostListTakesTextsAndArraysWithoutTheirNames) {
  JsonDevice device;
  JsonStreamer streamer(&device, false);
  EXPECT_TRUE(streamer.begin(LVL_List));
  streamer.arrayString("a");
  streamer.arrayBegin("unused");
  streamer.arrayString("b");
  streamer.arrayEnd();
  streamer.arrayString("c");
  EXPECT_TRUE(streamer.end());
  EXPECT_EQ(device.text, R"(["a",["b"],"c"])");
}

TEST(JsonStreamer, PrettyPutsEachMemberAndElementOnALine) {
  JsonDevice device;
  JsonStreamer streamer(&device, true);
  streamer.begin(LVL_Object);
  streamer.arrayBegin("keys");
  streamer.arrayString("a");
  streamer.arrayString("b");
  streamer.arrayEnd();
  streamer.arrayBegin("none");
  streamer.arrayEnd();
  EXPECT_TRUE(streamer.end());
  EXPECT_EQ(device.text, "{\n  \"keys\": [\n    \"a\",\n    \"b\"\n  ],\n  \"none\": []\n}");
}

TEST(JsonStreamer, LongTextsReachTheDeviceInFewPiecesBeforeTheEnd) {
  JsonDevice device;
  JsonStreamer streamer(&device, false);
  streamer.begin(LVL_Object);
  streamer.arrayBegin("keys");
  for (int i = 0; i < 10'000; ++i) streamer.arrayString("0123456789");
  EXPECT_GT(device.text.size(), 100'000U);
  EXPECT_LT(device.writes, 20);
  streamer.arrayEnd();
  EXPECT_TRUE(streamer.end());
  EXPECT_EQ(Rewritten(device.text), device.text);
}

TEST(JsonStreamer, ASecondBeginFails) {
  JsonDevice device;
  JsonStreamer streamer(&device, false);
  EXPECT_TRUE(streamer.begin(LVL_Object));
  EXPECT_FALSE(streamer.begin(LVL_Object));
  EXPECT_TRUE(streamer.end());
  EXPECT_EQ(device.text, "{}");
}

TEST(JsonStreamer, AnArrayLeftOpenMakesTheEndFail) {
  JsonDevice device;
  JsonStreamer streamer(&device, false);
  streamer.begin(LVL_Object);
  streamer.arrayBegin("keys");
  EXPECT_FALSE(streamer.end());
}

TEST(JsonStreamer, ATextOutsideAnArrayMakesTheEndFail) {
  JsonDevice device;
  JsonStreamer streamer(&device, false);
  streamer.begin(LVL_Object);
  streamer.arrayString("lost");
  EXPECT_FALSE(streamer.end());
  EXPECT_EQ(device.text, "{}");
}

TEST(JsonStreamer, AnArrayInAnArrayMakesTheEndFail) {
  JsonDevice device;
  JsonStreamer streamer(&device, false);
  streamer.begin(LVL_Object);
  streamer.arrayBegin("keys");
  streamer.arrayBegin("inner");
  streamer.arrayEnd();
  EXPECT_FALSE(streamer.end());
}

TEST(JsonStreamer, AnEndWithoutABeginFails) {
  JsonDevice device;
  JsonStreamer streamer(&device, false);
  EXPECT_FALSE(streamer.end());
  EXPECT_EQ(device.text, "");
}

TEST(JsonStreamer, ADeviceThatTakesTooLittleMakesTheEndFail) {
  JsonDevice device;
  device.room = 3;
  JsonStreamer streamer(&device, false);
  EXPECT_TRUE(streamer.begin(LVL_Object));
  streamer.arrayBegin("keys");
  streamer.arrayEnd();
  EXPECT_FALSE(streamer.end());
  EXPECT_FALSE(streamer.begin(LVL_Object));
}

TEST(JsonStreamer, ADeviceWithAnErrorIsNotBegunOn) {
  JsonDevice device;
  device.error = true;
  EXPECT_FALSE(JsonStreamer(&device, false).begin(LVL_Object));
}

TEST(JsonStreamer, NoDeviceFailsWithoutACrash) {
  JsonStreamer streamer(nullptr, false);
  EXPECT_FALSE(streamer.begin(LVL_Object));
  streamer.arrayBegin("keys");
  streamer.arrayString("a");
  streamer.arrayEnd();
  EXPECT_FALSE(streamer.end());
}

TEST(ConvertToJsonString, EscapesWithoutQuotesAround) {
  EXPECT_EQ(JsonStreamer::ConvertToJsonString("a\"b\\c/\n"), R"(a\"b\\c/\n)");
  EXPECT_EQ(JsonStreamer::ConvertToJsonString(string()), "");
  EXPECT_EQ(JsonStreamer::ConvertToJsonString(""), "");
}

TEST(ConvertToJsonString, OfAStringKeepsWhatStandsBehindANul) {
  EXPECT_EQ(JsonStreamer::ConvertToJsonString("a\0b"s), R"(a\u0000b)");
  EXPECT_EQ(JsonStreamer::ConvertToJsonStringSize("a\0b"s), 8U);
}

TEST(ConvertToJsonString, OfACStringStopsAtTheTerminator) {
  EXPECT_EQ(JsonStreamer::ConvertToJsonString("a\0b"), "a");
  EXPECT_EQ(JsonStreamer::ConvertToJsonStringSize("a\0b"), 1U);
}

TEST(ConvertToJsonString, OfNullIsEmpty) {
  const char* const null = nullptr;
  EXPECT_EQ(JsonStreamer::ConvertToJsonString(null), "");
  EXPECT_EQ(JsonStreamer::ConvertToJsonStringSize(null), 0U);
}

TEST(ConvertToJsonString, SizeAlwaysAgreesWithTheText) {
  std::mt19937 random(7);
  for (int round = 0; round < 5'000; ++round) {
    string bytes;
    for (size_t i = random() % 40; i > 0; --i) {
      // ASCII for the most part, with enough lead and continuation bytes to meet by chance.
      const auto byte = static_cast<unsigned char>(random());
      bytes += static_cast<char>(random() % 2 == 0 ? byte & 0x7F : byte | 0x80);
    }
    ASSERT_EQ(JsonStreamer::ConvertToJsonStringSize(bytes), JsonStreamer::ConvertToJsonString(bytes).size());
    ASSERT_EQ(JsonStreamer::ConvertToJsonStringSize(bytes.c_str()),
              JsonStreamer::ConvertToJsonString(bytes.c_str()).size());
  }
}

}  // namespace
}  // namespace qx::json
