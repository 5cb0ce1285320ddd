#include "netweft/base/system/qxIoDeviceDelegable.h"

#include "tests/base/VirtualSlot.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace qx {
namespace {

class Delegable final : public qxIoDeviceDelegable {
 public:
  Delegable() : qxIoDeviceDelegable(DF_Write, 1025) {}
  uint64 readBytes(char*, uint64) override { return 0; }
  uint64 writeBytes(const char*, uint64) override { return 0; }
  bool hasError() const override { return false; }
  bool atEnd() const override { return true; }
  bool seekg(int64, SeekStart) override { return false; }
  bool seekp(int64, SeekStart) override { return false; }
  uint64 tellg() override { return 0; }
  uint64 tellp() override { return 0; }
  bool beginDelegation(qxIoDevice*) override { return false; }
  bool endDelegation() override { return false; }
  void clearDelegation() override {}
};

TEST(qxIoDeviceDelegable, VirtualOperationsFollowThoseOfTheDevice) {
  EXPECT_EQ(test::VirtualSlot(&qxIoDeviceDelegable::beginDelegation), 10);
  EXPECT_EQ(test::VirtualSlot(&qxIoDeviceDelegable::endDelegation), 11);
  EXPECT_EQ(test::VirtualSlot(&qxIoDeviceDelegable::clearDelegation), 12);
}

TEST(qxIoDeviceDelegable, WritingIsNumberTwo) { EXPECT_EQ(int{qxIoDeviceDelegable::DF_Write}, 2); }

TEST(qxIoDeviceDelegable, KeepsWhatItsSubclassPassed) {
  const Delegable device;
  EXPECT_EQ(device.getDelegableFlag(), qxIoDeviceDelegable::DF_Write);
  EXPECT_EQ(device.getDelegableKind(), 1025);
}

TEST(qxIoDeviceDelegable, OnlySubclassesConstructIt) {
  EXPECT_FALSE((std::is_constructible_v<qxIoDeviceDelegable, qxIoDeviceDelegable::DelegableFlag, int>));
}

}  // namespace
}  // namespace qx
