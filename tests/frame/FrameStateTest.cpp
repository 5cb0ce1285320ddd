#include "netweft/frame/internal/FrameState.h"

#include "netweft/base/system/qxThreadPeriodicalUpdater.h"
#include "netweft/frame/Netweft.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

namespace qx {
namespace {

class Round {
 public:
  static void Count(void* self) { static_cast<Round*>(self)->finish(); }

  void wait() {
    std::unique_lock lock(mMutex);
    mCondition.wait(lock, [this] { return mDone; });
  }

 private:
  void finish() {
    const std::lock_guard lock(mMutex);
    mDone = true;
    mCondition.notify_all();
  }

  std::mutex mMutex;
  std::condition_variable mCondition;
  bool mDone = false;
};

TEST(FrameStateTest, ThereIsNoUpdaterOutsideOfStartAndStop) {
  EXPECT_EQ(impl::GetPoolUpdater(), nullptr);
  initializeNetweft(true, http::HNRP_Whatever, http::PP_NoProxy);
  EXPECT_NE(impl::GetPoolUpdater(), nullptr);
  terminateNetweft();
  EXPECT_EQ(impl::GetPoolUpdater(), nullptr);
}

TEST(FrameStateTest, TheUpdaterRunsItsCallbacks) {
  initializeNetweft(true, http::HNRP_Whatever, http::PP_NoProxy);
  Round round;
  impl::GetPoolUpdater()->addCallback(&Round::Count, &round);
  round.wait();
  impl::GetPoolUpdater()->removeCallback(&Round::Count, &round);
  terminateNetweft();
}

TEST(FrameStateTest, TheGenerationIsThatOfTheCurlInUse) {
  initializeNetweft(true, http::HNRP_Whatever, http::PP_NoProxy);
  EXPECT_EQ(impl::GetCurlOpenSslVersion(), qxOpenSSL::OV_3);
  terminateNetweft();
  EXPECT_EQ(impl::GetCurlOpenSslVersion(), qxOpenSSL::OV_3);
}

}  // namespace
}  // namespace qx
