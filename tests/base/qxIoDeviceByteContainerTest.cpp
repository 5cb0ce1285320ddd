#include "netweft/base/system/qxIoDeviceByteContainer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

namespace qx {
namespace {

using Device = qxIoDeviceByteContainer<bytes>;

bytes Bytes(const string& text) { return {text.begin(), text.end()}; }

class qxIoDeviceByteContainerTest : public testing::Test {
 protected:
  string read(uint64 n) {
    string text(static_cast<size_t>(n), '\0');
    text.resize(static_cast<size_t>(device.readBytes(text.data(), n)));
    return text;
  }

  uint64 write(const string& text) { return device.writeBytes(text.data(), text.size()); }

  bytes content = Bytes("0123456789");
  Device device{&content};
};

TEST_F(qxIoDeviceByteContainerTest, ReadingGivesWhatIsLeftAndAdvances) {
  EXPECT_EQ(read(4), "0123");
  EXPECT_EQ(device.tellg(), 4U);
  EXPECT_EQ(read(100), "456789");
  EXPECT_EQ(read(1), "");
  EXPECT_EQ(device.tellg(), 10U);
}

TEST_F(qxIoDeviceByteContainerTest, WritingStartsAtTheBeginningAndOverwrites) {
  EXPECT_EQ(write("abc"), 3U);
  EXPECT_EQ(content, Bytes("abc3456789"));
}

TEST_F(qxIoDeviceByteContainerTest, WritingGrowsTheContainerAsNeeded) {
  device.seekp(-1, qxIoDevice::SS_End);
  EXPECT_EQ(write("abc"), 3U);
  EXPECT_EQ(content, Bytes("012345678abc"));
  EXPECT_EQ(write("d"), 1U);
  EXPECT_EQ(content, Bytes("012345678abcd"));
}

TEST_F(qxIoDeviceByteContainerTest, WritingNothingGivesZeroAndChangesNothing) {
  EXPECT_EQ(device.writeBytes(nullptr, 0), 0U);
  EXPECT_EQ(content, Bytes("0123456789"));
}

TEST_F(qxIoDeviceByteContainerTest, AtEndOnceTheReadPositionReachesTheSize) {
  EXPECT_FALSE(device.atEnd());
  read(10);
  EXPECT_TRUE(device.atEnd());
  content.clear();
  EXPECT_TRUE(device.atEnd());
  EXPECT_EQ(read(1), "");
}

TEST_F(qxIoDeviceByteContainerTest, TellpGivesTheSizeAndNotTheWritePosition) {
  EXPECT_TRUE(device.seekp(3, qxIoDevice::SS_Begin));
  EXPECT_EQ(device.tellp(), 10U);
  write("x");
  EXPECT_EQ(content, Bytes("012x456789"));
  EXPECT_EQ(device.tellp(), 10U);
}

TEST_F(qxIoDeviceByteContainerTest, SeekgMovesFromTheStartTheCurrentPositionAndTheEnd) {
  EXPECT_TRUE(device.seekg(4, qxIoDevice::SS_Begin));
  EXPECT_EQ(device.tellg(), 4U);
  EXPECT_TRUE(device.seekg(3, qxIoDevice::SS_Current));
  EXPECT_EQ(device.tellg(), 7U);
  EXPECT_TRUE(device.seekg(-2, qxIoDevice::SS_Current));
  EXPECT_EQ(device.tellg(), 5U);
  EXPECT_TRUE(device.seekg(-1, qxIoDevice::SS_End));
  EXPECT_EQ(device.tellg(), 9U);
  EXPECT_TRUE(device.seekg(0, qxIoDevice::SS_End));
  EXPECT_EQ(device.tellg(), 10U);
}

TEST_F(qxIoDeviceByteContainerTest, ReadAndWritePositionsAreIndependent) {
  device.seekp(4, qxIoDevice::SS_Begin);
  device.seekp(1, qxIoDevice::SS_Current);
  EXPECT_EQ(device.tellg(), 0U);
  write("x");
  EXPECT_EQ(content, Bytes("01234x6789"));
}

TEST_F(qxIoDeviceByteContainerTest, SeekBeyondTheSizeClampsAndStaysAnError) {
  EXPECT_TRUE(device.good());
  EXPECT_FALSE(device.seekg(11, qxIoDevice::SS_Begin));
  EXPECT_EQ(device.tellg(), 10U);
  EXPECT_FALSE(device.good());
  EXPECT_TRUE(device.hasError());
  EXPECT_FALSE(device.seekg(0, qxIoDevice::SS_Begin));
  EXPECT_EQ(device.tellg(), 0U);
  EXPECT_EQ(read(2), "01");
  EXPECT_FALSE(device.good());
}

TEST_F(qxIoDeviceByteContainerTest, SeekpBeyondTheSizeClamps) {
  EXPECT_FALSE(device.seekp(11, qxIoDevice::SS_Begin));
  write("x");
  EXPECT_EQ(content, Bytes("0123456789x"));
}

TEST_F(qxIoDeviceByteContainerTest, SeekBeforeTheStartClampsToTheStart) {
  device.seekg(2, qxIoDevice::SS_Begin);
  EXPECT_FALSE(device.seekg(-3, qxIoDevice::SS_Current));
  EXPECT_EQ(device.tellg(), 0U);
}

TEST_F(qxIoDeviceByteContainerTest, ExtremeOffsetsDoNotOverflow) {
  device.seekg(5, qxIoDevice::SS_Begin);
  EXPECT_FALSE(device.seekg(std::numeric_limits<int64>::max(), qxIoDevice::SS_Current));
  EXPECT_EQ(device.tellg(), 10U);
  EXPECT_FALSE(device.seekg(std::numeric_limits<int64>::min(), qxIoDevice::SS_Current));
  EXPECT_EQ(device.tellg(), 0U);
}

TEST_F(qxIoDeviceByteContainerTest, UnknownStartIsAnErrorAndLeavesThePosition) {
  device.seekg(5, qxIoDevice::SS_Begin);
  EXPECT_FALSE(device.seekg(1, static_cast<qxIoDevice::SeekStart>(3)));
  EXPECT_EQ(device.tellg(), 5U);
}

TEST_F(qxIoDeviceByteContainerTest, UnknownStartClampsThePositionToTheSize) {
  device.seekg(5, qxIoDevice::SS_Begin);
  content.resize(2);
  EXPECT_FALSE(device.seekg(0, static_cast<qxIoDevice::SeekStart>(-1)));
  EXPECT_EQ(device.tellg(), 2U);
}

TEST(qxIoDeviceByteContainer, FieldsStandInTheirFixedOrder) {
  bytes content = Bytes("0123");
  Device device(&content);
  device.seekg(1, qxIoDevice::SS_Begin);
  device.seekp(2, qxIoDevice::SS_Begin);
  device.seekg(9, static_cast<qxIoDevice::SeekStart>(7));

  struct Fields {
    void* table;
    bytes* container;
    uint64 readPosition;
    uint64 writePosition;
    bool error;
  } fields;
  ASSERT_EQ(sizeof(Device), sizeof(Fields));
  std::memcpy(static_cast<void*>(&fields), static_cast<const void*>(&device), sizeof(fields));
  EXPECT_EQ(fields.container, &content);
  EXPECT_EQ(fields.readPosition, 1U);
  EXPECT_EQ(fields.writePosition, 2U);
  EXPECT_TRUE(fields.error);
}

}  // namespace
}  // namespace qx
