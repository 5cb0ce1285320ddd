#pragma once

#include "tests/live/MixedDocuments.h"

#include <atomic>
#include <functional>
#include <thread>

namespace qx::test {

/// Writes to a database as a host's users would, until it is told to stop.
class Writers {
 public:
  using Action = std::function<void(MixedDocuments&)>;

  Writers(int count, Action action) {
    for (int i = 0; i < count; ++i) {
      mThreads.emplace_back([this, i, action] {
        MixedDocuments documents(static_cast<unsigned>(1000 + i));
        while (!mStop) action(documents);
      });
    }
  }
  ~Writers() { stop(); }

  void stop() {
    mStop = true;
    for (std::thread& thread : mThreads) thread.join();
    mThreads.clear();
  }

 private:
  std::atomic<bool> mStop{false};
  vector<std::thread> mThreads;
};

}  // namespace qx::test
