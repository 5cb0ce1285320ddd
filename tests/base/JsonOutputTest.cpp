#include "netweft/base/json/internal/JsonOutput.h"

#include "tests/base/JsonDevice.h"

#include <gtest/gtest.h>

#include <limits>

namespace qx::json {
namespace {

TEST(JsonOutput, ToAStringAppends) {
  string text = "before ";
  JsonOutput out(text);
  out.put('[');
  out.put("1]");
  EXPECT_TRUE(out.flush());
  EXPECT_EQ(text, "before [1]");
}

TEST(JsonOutput, ToADeviceIsGatheredIntoOnePiece) {
  JsonDevice device;
  JsonOutput out(&device);
  out.put("ab");
  out.put('c');
  EXPECT_EQ(device.text, "");
  EXPECT_TRUE(out.flush());
  EXPECT_EQ(device.text, "abc");
  EXPECT_EQ(device.writes, 1);
}

TEST(JsonOutput, AFullBufferIsHandedOverEarly) {
  JsonDevice device;
  JsonOutput out(&device);
  for (int i = 0; i < 100; ++i) out.put(string(1000, 'x'));
  EXPECT_GT(device.writes, 3);
  EXPECT_LT(device.writes, 10);
  EXPECT_TRUE(out.flush());
  EXPECT_EQ(device.text, string(100'000, 'x'));
}

TEST(JsonOutput, ALargeTextComesBehindWhatStoodInTheBuffer) {
  JsonDevice device;
  JsonOutput out(&device);
  out.put("before ");
  out.put(string(100'000, 'x'));
  out.put(" behind");
  EXPECT_TRUE(out.flush());
  EXPECT_EQ(device.text, "before " + string(100'000, 'x') + " behind");
  EXPECT_EQ(device.writes, 3);
}

/// Each kind of piece, at each distance from the end of the buffer that it could have.
TEST(JsonOutput, APieceIsWholeWhereverTheBufferEnds) {
  constexpr int64 smallest = std::numeric_limits<int64>::min();
  for (size_t before = 16 * 1024 - 24; before <= 16 * 1024; ++before) {
    const auto write = [&](auto put) {
      string text;
      JsonOutput out(text);
      for (size_t i = 0; i < before; ++i) out.put('x');
      put(out);
      EXPECT_TRUE(out.flush());
      EXPECT_EQ(text.substr(0, before), string(before, 'x'));
      return text.substr(before);
    };
    EXPECT_EQ(write([](JsonOutput& out) { out.put('c'); }), "c");
    EXPECT_EQ(write([](JsonOutput& out) { out.put("a text of 21 bytes..."); }), "a text of 21 bytes...");
    EXPECT_EQ(write([](JsonOutput& out) { out.putInteger(smallest); }), "-9223372036854775808");
    EXPECT_EQ(write([](JsonOutput& out) { out.putBlanks(9); }), string(9, ' '));
  }
}

TEST(JsonOutput, NothingToHandOverIsNotWritten) {
  JsonDevice device;
  EXPECT_TRUE(JsonOutput(&device).flush());
  EXPECT_EQ(device.writes, 0);
}

TEST(JsonOutput, ADeviceThatTakesTooLittleHasFailedForGood) {
  JsonDevice device;
  device.room = 2;
  JsonOutput out(&device);
  out.put("abc");
  EXPECT_FALSE(out.flush());
  device.room = 100;
  out.put("def");
  EXPECT_FALSE(out.flush());
  EXPECT_TRUE(out.failed());
  EXPECT_EQ(device.text, "ab");
}

TEST(JsonOutput, ADeviceThatReportsAnErrorAfterAWholeWriteHasFailed) {
  JsonDevice device;
  device.errorAfterWrite = true;
  JsonOutput out(&device);
  out.put("abc");
  EXPECT_FALSE(out.flush());
}

TEST(JsonOutput, ADeviceWithAnErrorFromTheStartIsNotWrittenTo) {
  JsonDevice device;
  device.error = true;
  JsonOutput out(&device);
  EXPECT_TRUE(out.failed());
  out.put("abc");
  EXPECT_FALSE(out.flush());
  EXPECT_EQ(device.writes, 0);
}

TEST(JsonOutput, NoDeviceHasFailedFromTheStart) {
  JsonOutput out(nullptr);
  EXPECT_TRUE(out.failed());
  out.put("abc");
  EXPECT_FALSE(out.flush());
}

}  // namespace
}  // namespace qx::json
