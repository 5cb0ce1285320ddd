#include "netweft/base/json/internal/JsonOutput.h"

#include "tests/base/JsonDevice.h"

#include <gtest/gtest.h>

namespace qx::json {
namespace {

TEST(JsonOutput, ToAStringAppends) {
  string text = "before ";
  JsonOutput out(text);
  out.put('[');
  out.put("1]");
  out.relieve();
  EXPECT_TRUE(out.flush());
  EXPECT_EQ(text, "before [1]");
}

TEST(JsonOutput, ToADeviceIsGatheredIntoOnePiece) {
  JsonDevice device;
  JsonOutput out(&device);
  out.put("ab");
  out.relieve();
  out.put('c');
  EXPECT_EQ(device.text, "");
  EXPECT_TRUE(out.flush());
  EXPECT_EQ(device.text, "abc");
  EXPECT_EQ(device.writes, 1);
}

TEST(JsonOutput, ALargeBufferIsHandedOverEarly) {
  JsonDevice device;
  JsonOutput out(&device);
  for (int i = 0; i < 100; ++i) {
    out.put(string(1000, 'x'));
    out.relieve();
  }
  EXPECT_GT(device.writes, 3);
  EXPECT_LT(device.writes, 10);
  EXPECT_TRUE(out.flush());
  EXPECT_EQ(device.text, string(100'000, 'x'));
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
