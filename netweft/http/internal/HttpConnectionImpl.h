#pragma once

#include "netweft/addressing/Url.h"
#include "netweft/http/HttpConnection.h"
#include "netweft/http/HttpProxyFinder.h"
#include "netweft/http/internal/CurlEasy.h"
#include "netweft/http/internal/ExceptionSlot.h"

#include <array>

namespace qx::http {

/// The connection's record. libcurl's handle points into it (error text, debug capture): it never moves, and closes the
/// handle before anything else goes.
struct NETWEFT_HIDDEN HttpConnection::HttpConnectionImpl {
  HttpProxyFinder proxyFinder;
  ConnectionParameters parameters;
  list<string> commonHeaders;
  impl::CurlEasyPtr curlHandle;
  impl::CurlStringList headerList;
  /// One more than libcurl writes, for a terminator of our own.
  std::array<char, CURL_ERROR_SIZE + 1> curlErrorBuffer{};
  qx::Url lastUrl{qx::Url::CS_Empty};
  string lastErrorMessage;
  string lastReceivedType;
  string lastDebugInformations;
  int32 lastCurlCode = 0;
  int32 lastHttpReturnCode = 0;
  bool performing = false;
  /// What the debug callback could not throw through libcurl.
  impl::ExceptionSlot captureFailure;

  HttpConnectionImpl() = default;
  HttpConnectionImpl(const HttpConnectionImpl&) = delete;
  HttpConnectionImpl& operator=(const HttpConnectionImpl&) = delete;
  ~HttpConnectionImpl() { closeHandle(); }

  /// A handle with the options that stay for its life; the ORed results.
  int openHandle() noexcept;
  void closeHandle() noexcept { curlHandle.reset(); }
  void clearDiagnostics() noexcept;

  /// Keeps the reason and closes the handle; always false.
  bool failAndClose(string reason);
  /// For a caller who saw that the last response, which libcurl took for a good one, ended within its head. False.
  bool failBrokenOff();

  /// One set of options each; the ORed results.
  int installCallerData(void* userData) noexcept;
  int installHeaders(const list<string>& requestHeaders);

  /// Runs the transfer and keeps its results; the milliseconds that it took.
  int64 perform();
  /// Another address family might mend what the last transfer died of.
  bool isWorthAnotherFamily() const noexcept;
  /// Whether the answer is what the caller expects; a difference leaves the handle open.
  bool checkAnswer(const string& expectedType, long expectedReturnCode);

 private:
  /// Data pointers are the caller's for the length of the call alone.
  void detachCallerData() noexcept { static_cast<void>(installCallerData(nullptr)); }

  static int DebugCallback(CURL* handle, curl_infotype type, char* data, size_t size, void* record) noexcept;
  void capture(curl_infotype type, const char* data, size_t size);
};

}  // namespace qx::http
