#include "netweft/base/json/Json2Variant.h"

#include "netweft/base/system/qxIoDeviceByteContainer.h"
#include "tests/base/JsonDevice.h"
#include "tests/base/JsonSupport.h"

#include <gtest/gtest.h>

#include <thread>

namespace qx::json {
namespace {

qxVariantMapImpl MapOf(std::string_view text) {
  qxVariantMapImpl map;
  EXPECT_TRUE(Json2Variant::Convert(text.data(), text.size(), map)) << text;
  return map;
}

TEST(Json2Variant, ReadsAnObjectIntoAMapAndNothingElse) {
  qxVariantMapImpl map;
  EXPECT_TRUE(Json2Variant::Convert("{\"a\":1}", 7, map));
  EXPECT_EQ(map.getInteger("a", 0), 1);
  EXPECT_FALSE(Json2Variant::Convert("[1]", 3, map));
  EXPECT_FALSE(Json2Variant::Convert("1", 1, map));
  EXPECT_FALSE(Json2Variant::Convert("null", 4, map));
}

TEST(Json2Variant, ReadsAnArrayIntoAListAndNothingElse) {
  qxVariantListImpl list;
  EXPECT_TRUE(Json2Variant::Convert("[1,\"a\"]", 7, list));
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[1].getString(), "a");
  EXPECT_FALSE(Json2Variant::Convert("{}", 2, list));
  EXPECT_FALSE(Json2Variant::Convert("\"a\"", 3, list));
}

TEST(Json2Variant, ReadingReplacesWhatWasThere) {
  qxVariantMapImpl map = MapOf(R"({"old":1,"both":{"x":1}})");
  EXPECT_TRUE(Json2Variant::Convert("{\"both\":2}", 10, map));
  EXPECT_EQ(map.size(), 1U);
  EXPECT_EQ(map.getInteger("both", 0), 2);
  qxVariantListImpl list;
  list.push_back(qxVariant(1));
  EXPECT_TRUE(Json2Variant::Convert("[2]", 3, list));
  EXPECT_EQ(list.size(), 1U);
}

TEST(Json2Variant, ReadsATextThatStandsInTheMapItself) {
  qxVariantMapImpl map;
  map["text"] = R"({"a":"read from the value that this replaces"})";
  const string& text = map.find("text")->second.getString();
  EXPECT_TRUE(Json2Variant::Convert(text.data(), text.size(), map));
  EXPECT_EQ(map.getString("a", ""), "read from the value that this replaces");
}

TEST(Json2Variant, ReadsNoFurtherThanTheLength) {
  qxVariantMapImpl map;
  EXPECT_TRUE(Json2Variant::Convert("{}garbage", 2, map));
  EXPECT_FALSE(Json2Variant::Convert("{}", 1, map));
  qxVariantListImpl list;
  EXPECT_TRUE(Json2Variant::Convert("[12]34", 4, list));
  EXPECT_FALSE(Json2Variant::Convert("[12]", 3, list));
}

TEST(Json2Variant, NullAndEmptyTextsAreMalformed) {
  qxVariantMapImpl map;
  EXPECT_FALSE(Json2Variant::Convert(nullptr, 0, map));
  EXPECT_FALSE(Json2Variant::Convert("", 0, map));
  qxVariantListImpl list;
  EXPECT_FALSE(Json2Variant::Convert(nullptr, 0, list));
}

TEST(Json2Variant, ABrokenTextDoesNotSpoilTheNext) {
  qxVariantMapImpl map;
  for (const char* broken : {"{\"a\":", "{\"a\":\"", "{\"a\":\xFF}", "[[[[", "{\"a\":01}"}) {
    EXPECT_FALSE(Json2Variant::Convert(broken, string(broken).size(), map));
    EXPECT_TRUE(Json2Variant::Convert("{\"a\":1}", 7, map));
    EXPECT_EQ(map.size(), 1U);
  }
}

TEST(Json2Variant, TextsOfEverySizeAroundTheKeptScannersLimitAreRead) {
  for (const size_t size : {262'100U, 262'143U, 262'144U, 262'145U, 1'000'000U}) {
    const string text = "[\"" + string(size - 4, 'x') + "\"]";
    EXPECT_EQ(Rewritten(text), text);
  }
  EXPECT_EQ(Rewritten("[1]"), "[1]");
}

TEST(Json2Variant, WritingAStringReplacesWhatWasThere) {
  string text = "before";
  EXPECT_TRUE(Json2Variant::Convert(MapOf("{\"a\":1}"), text, false));
  EXPECT_EQ(text, "{\"a\":1}");
  EXPECT_TRUE(Json2Variant::Convert(qxVariantListImpl(), text, false));
  EXPECT_EQ(text, "[]");
}

TEST(Json2Variant, WritesIntoAStringThatTheMapItselfHolds) {
  qxVariantMapImpl map = MapOf(R"({"a":"old"})");
  EXPECT_TRUE(Json2Variant::Convert(map, map["a"].editString(), false));
  EXPECT_EQ(map.getString("a", ""), R"({"a":"old"})");
}

TEST(Json2Variant, WritingBytesReplacesWhatWasThere) {
  bytes content(1000, 'x');
  EXPECT_TRUE(Json2Variant::Convert(MapOf("{\"a\":1}"), content, false));
  EXPECT_EQ(string(content.begin(), content.end()), "{\"a\":1}");
}

TEST(Json2Variant, WritingADeviceContinuesWhereItStands) {
  bytes content;
  qxIoDeviceByteContainer<bytes> device(&content);
  device << "before ";
  EXPECT_TRUE(Json2Variant::Convert(MapOf("{\"a\":1}"), &device, false));
  EXPECT_EQ(string(content.begin(), content.end()), "before {\"a\":1}");
}

TEST(Json2Variant, ALargeMapReachesADeviceInPieces) {
  qxVariantMapImpl map;
  qxVariantListImpl& list = map["list"].editList();
  for (int i = 0; i < 20'000; ++i) list.push_back(qxVariant("0123456789"));
  JsonDevice device;
  EXPECT_TRUE(Json2Variant::Convert(map, &device, false));
  EXPECT_GT(device.writes, 5);
  EXPECT_LT(device.writes, 40);
  EXPECT_EQ(Rewritten(device.text), device.text);
}

TEST(Json2Variant, WritingToADeviceThatTakesTooLittleFails) {
  JsonDevice device;
  device.room = 3;
  EXPECT_FALSE(Json2Variant::Convert(MapOf("{\"a\":1}"), &device, false));
}

TEST(Json2Variant, WritingToADeviceWithAnErrorFails) {
  JsonDevice device;
  device.error = true;
  EXPECT_FALSE(Json2Variant::Convert(MapOf("{}"), &device, false));
}

TEST(Json2Variant, WritingToNoDeviceFails) {
  qxIoDevice* const none = nullptr;
  EXPECT_FALSE(Json2Variant::Convert(MapOf("{}"), none, false));
}

TEST(Json2Variant, PrettyIndents) {
  const qxVariantMapImpl map = MapOf("{\"a\":[1]}");
  const string expected = "{\n  \"a\": [\n    1\n  ]\n}";
  string text;
  EXPECT_TRUE(Json2Variant::Convert(map, text, true));
  EXPECT_EQ(text, expected);
  JsonDevice device;
  EXPECT_TRUE(Json2Variant::Convert(map, &device, true));
  EXPECT_EQ(device.text, expected);
}

TEST(Json2Variant, ManyThreadsReadAndWriteAtOnce) {
  const string text = R"({"a":[1,2.50,"x\ud800"],"b":{"c":null}})";
  const auto work = [&text] {
    for (int i = 0; i < 500; ++i) ASSERT_EQ(Rewritten(text), text);
  };
  vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) threads.emplace_back(work);
  for (std::thread& thread : threads) thread.join();
}

TEST(Json2Variant, AValueMayBeFreedOnAnotherThreadThanItWasReadOn) {
  qxVariantMapImpl map;
  std::thread([&map] { map = MapOf(R"({"a":{"b":[1,"some text that needs memory of its own"]}})"); }).join();
  EXPECT_EQ(map.getValuePath("a/b", qxVariant(), '/').getList().size(), 2U);
  std::thread([&map] { map.clear(); }).join();
  EXPECT_TRUE(map.empty());
}

}  // namespace
}  // namespace qx::json
