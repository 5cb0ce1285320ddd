#pragma once

#include "netweft/base/system/qxTypes.h"
#include "netweft/http/internal/CurlEasy.h"
#include "netweft/http/internal/ExceptionSlot.h"
#include "netweft/http/internal/ResponseHead.h"

namespace qx {
class qxIoDevice;
}

namespace qx::http::impl {

enum HttpVerb : int32 { HV_Get = 1, HV_Put = 2, HV_Post = 3, HV_Delete = 4, HV_Head = 5 };

/// The record of one helper call: it lives on the stack for the call and is the `userData` of the connection's set-up
/// callback and of every function that libcurl calls. Pointers are the caller's; each may be null.
struct HttpHelperRequest {
  map<string, string>* responseHeaders = nullptr;
  const list<string>* requestHeaders = nullptr;
  const char* body = nullptr;
  uint64 bodySize = 0;
  uint64 readPosition = 0;
  uint64 receivedBytes = 0;
  string* content = nullptr;
  qxIoDevice* contentDevice = nullptr;
  /// An `HttpVerb`.
  int32 verb = HV_Get;
  bool isJson = false;
  const bool* abortFlag = nullptr;
  /// Followed when `responseHeaders` is set.
  ResponseHead head;
  /// What a function called by libcurl could not throw.
  ExceptionSlot failure;

  /// The `HttpConnection::SetupCallback`; `request` is a `HttpHelperRequest`.
  static int Setup(void* curlHandle, void* request, list<string>& headers);

 private:
  void addHeaders(list<string>& headers) const;
  /// Each gives the ORed results of its options.
  int installResponse(CURL* handle) noexcept;
  /// Undoes what an earlier request may have left on the handle.
  int resetOptions(CURL* handle) noexcept;
  int installVerb(CURL* handle) const noexcept;
  int installUpload(CURL* handle) const noexcept;

  static size_t OnWrite(char* data, size_t size, size_t count, void* request) noexcept;
  static size_t OnRead(char* buffer, size_t size, size_t count, void* request) noexcept;
  static size_t OnHeader(char* data, size_t size, size_t count, void* request) noexcept;
  static curlioerr OnRewind(CURL* handle, int command, void* request) noexcept;
  static int OnProgress(void* request, curl_off_t, curl_off_t, curl_off_t, curl_off_t) noexcept;
};

}  // namespace qx::http::impl
