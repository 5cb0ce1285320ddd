#include "netweft/base/system/qxIoDevice.h"

#include "netweft/base/system/qxIoDeviceByteContainer.h"
#include "tests/base/VirtualSlot.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace qx {
namespace {

TEST(qxIoDevice, VirtualOperationsStandInTheirFixedOrder) {
  EXPECT_EQ(test::VirtualSlot(&qxIoDevice::readBytes), 2);
  EXPECT_EQ(test::VirtualSlot(&qxIoDevice::writeBytes), 3);
  EXPECT_EQ(test::VirtualSlot(&qxIoDevice::hasError), 4);
  EXPECT_EQ(test::VirtualSlot(&qxIoDevice::atEnd), 5);
  EXPECT_EQ(test::VirtualSlot(&qxIoDevice::seekg), 6);
  EXPECT_EQ(test::VirtualSlot(&qxIoDevice::seekp), 7);
  EXPECT_EQ(test::VirtualSlot(&qxIoDevice::tellg), 8);
  EXPECT_EQ(test::VirtualSlot(&qxIoDevice::tellp), 9);
  EXPECT_TRUE(std::has_virtual_destructor_v<qxIoDevice>);
}

TEST(qxIoDevice, SeekStartHasItsFixedNumbers) {
  EXPECT_EQ(int{qxIoDevice::SS_Begin}, 0);
  EXPECT_EQ(int{qxIoDevice::SS_Current}, 1);
  EXPECT_EQ(int{qxIoDevice::SS_End}, 2);
}

TEST(qxIoDevice, TextIsWrittenAndTheDeviceReturned) {
  string content;
  qxIoDeviceByteContainer<string> device(&content);
  qxIoDevice& base = device;
  EXPECT_EQ(&(base << "one " << string("two\0three", 9)), &base);
  EXPECT_EQ(content, string("one two\0three", 13));
}

TEST(qxIoDevice, NullTextWritesNothing) {
  string content;
  qxIoDeviceByteContainer<string> device(&content);
  const char* none = nullptr;
  static_cast<qxIoDevice&>(device) << none;
  EXPECT_EQ(content, "");
}

}  // namespace
}  // namespace qx
