#pragma once

#include "netweft/base/system/qxTypes.h"

namespace qx::test {

/// Makes calls of libcurl's multi interface fail, and counts passes. One at a time in a process; one thread.
///
/// For programs that are linked with WRAP curl_multi_add_handle, curl_multi_remove_handle, curl_multi_perform,
/// curl_multi_cleanup and curl_multi_info_read, and list this class's source.
struct CurlMultiFaults {
  CurlMultiFaults();
  CurlMultiFaults(const CurlMultiFaults&) = delete;
  CurlMultiFaults& operator=(const CurlMultiFaults&) = delete;
  ~CurlMultiFaults();

  int addCode = 0;                ///< not 0: a handle is not added, and this is the result
  int removeCode = 0;             ///< not 0: the result, though the handle is removed
  int performCode = 0;            ///< not 0: the result, though the transfers go on
  int cleanupCode = 0;            ///< not 0: the result, though the multi handle is cleaned up
  void* unknownHandle = nullptr;  ///< the next message read tells of the end of this easy handle, once

  uint64 performs = 0;
  uint64 reads = 0;  ///< of messages, those that found none included
};

}  // namespace qx::test
