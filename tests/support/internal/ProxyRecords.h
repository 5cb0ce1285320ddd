#pragma once

#include "tests/support/FaultyProxy.h"

#include <condition_variable>
#include <mutex>

namespace qx::test {

/// What the proxy's thread and the tests share: the plan, and what was seen. Any thread.
class ProxyRecords {
 public:
  struct Counts {
    uint64 accepted = 0;
    uint64 open = 0;
    uint64 exchanges = 0;
    uint64 replyBytes = 0;
    uint64 hits = 0;
  };

  void setPlan(FaultyProxy::Plan plan) {
    const std::lock_guard lock(mMutex);
    mPlan = std::make_shared<FaultyProxy::Plan>(std::move(plan));
  }

  void addConnection() {
    change([](Counts& counts) {
      ++counts.accepted;
      ++counts.open;
    });
  }
  void addClosed() {
    change([](Counts& counts) { --counts.open; });
  }
  /// Calls the plan without the lock.
  Fault beginExchange() {
    change([](Counts& counts) {
      ++counts.exchanges;
      counts.replyBytes = 0;
    });
    shared_ptr<FaultyProxy::Plan> plan;
    {
      const std::lock_guard lock(mMutex);
      plan = mPlan;
    }
    return plan != nullptr ? (*plan)() : Fault();
  }
  void addHit() {
    change([](Counts& counts) { ++counts.hits; });
  }
  void addReplyBytes(uint64 n) {
    change([n](Counts& counts) { counts.replyBytes += n; });
  }

  Counts getCounts() const {
    const std::lock_guard lock(mMutex);
    return mCounts;
  }
  template <class Predicate>
  bool wait(FaultyProxy::Milliseconds timeout, Predicate&& isReached) const {
    std::unique_lock lock(mMutex);
    return mChanged.wait_for(lock, timeout, [&] { return isReached(mCounts); });
  }

 private:
  template <class Change>
  void change(Change&& apply) {
    const std::lock_guard lock(mMutex);
    apply(mCounts);
    mChanged.notify_all();
  }

  mutable std::mutex mMutex;
  mutable std::condition_variable mChanged;
  shared_ptr<FaultyProxy::Plan> mPlan;
  Counts mCounts;
};

}  // namespace qx::test
