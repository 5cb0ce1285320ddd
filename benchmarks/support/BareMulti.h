#pragma once

#include "netweft/base/system/qxTypes.h"

#include <curl/curl.h>

#include <functional>

namespace qx::bench {

/// Sixteen easy handles on one multi handle: what a program without the library would do.
class BareMulti {
 public:
  static constexpr int sSlots = 16;

  /// Sets the options of the request of that number, from 0 up.
  using Prepare = std::function<void(CURL* handle, uint64 number)>;
  using Take = std::function<void(const string& body)>;

  /// Each may be null: requests then go to `url`, and bodies are dropped.
  explicit BareMulti(const string& url, Prepare prepare = nullptr, Take take = nullptr);
  BareMulti(const BareMulti&) = delete;
  BareMulti& operator=(const BareMulti&) = delete;
  ~BareMulti();

  /// How many requests were answered with status 200. With `waitsFirst` each pass waits as the library's does, three
  /// times for 5 ms at most, before it looks for what is done.
  uint64 run(uint64 count, bool waitsFirst);

 private:
  struct Slot {
    CURL* handle = nullptr;
    string content;
  };

  int perform();
  int performAndWait();
  bool start(Slot& slot);
  void finish(const CURLMsg& message, Slot& slot);
  /// Gives how many were started anew.
  int finishDone();

  CURLM* const mMulti;
  const Prepare mPrepare;
  const Take mTake;
  vector<Slot> mSlots;
  uint64 mNext = 0;
  uint64 mCount = 0;
  uint64 mGood = 0;
};

}  // namespace qx::bench
