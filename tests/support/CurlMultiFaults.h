#pragma once

#include <curl/curl.h>

#include <array>

namespace qx::test {

/// While it lives, the program's calls of libcurl's multi interface are counted, and fail when told so. One at a time
/// in a process, on the thread that makes the calls.
///
/// For programs that list this class's source among their own and are linked with `WRAP curl_multi_perform
/// curl_multi_wait curl_multi_add_handle curl_multi_remove_handle curl_multi_info_read curl_multi_cleanup`.
class CurlMultiFaults {
 public:
  enum Function { F_Perform, F_Wait, F_AddHandle, F_RemoveHandle, F_InfoRead, F_Cleanup, F_Count };

  CurlMultiFaults();
  CurlMultiFaults(const CurlMultiFaults&) = delete;
  CurlMultiFaults& operator=(const CurlMultiFaults&) = delete;
  ~CurlMultiFaults();

  /// The next `times` calls answer with `code` and are not handed on (a clean-up is, so that nothing leaks).
  void fail(Function function, CURLMcode code, int times);
  /// The next `curl_multi_info_read` answers that this handle is done.
  void announceDone(CURL* handle) { mAnnounced = handle; }

  int getCalls(Function function) const { return mCalls[function]; }
  void clearCalls() { mCalls.fill(0); }
  /// Of the last `curl_multi_wait`.
  int getLastWaitMs() const { return mLastWaitMs; }
  unsigned int getLastWaitDescriptors() const { return mLastWaitDescriptors; }

  /// For the wrapped functions: the code that the call must answer with, or CURLM_OK.
  CURLMcode take(Function function);
  CURLMsg* takeAnnounced();
  void keepWait(unsigned int descriptors, int timeoutMs);

 private:
  struct Fault {
    CURLMcode code = CURLM_OK;
    int times = 0;
  };
  std::array<Fault, F_Count> mFaults{};
  std::array<int, F_Count> mCalls{};
  CURL* mAnnounced = nullptr;
  CURLMsg mMessage{};
  int mLastWaitMs = 0;
  unsigned int mLastWaitDescriptors = 0;
};

}  // namespace qx::test
