#pragma once

#include "netweft/http/HttpMultiConnection.h"
#include "netweft/http/HttpProxyFinder.h"
#include "netweft/http/internal/CurlEasy.h"
#include "netweft/http/internal/ExceptionSlot.h"
#include "netweft/http/internal/ResponseHead.h"

#include <array>

namespace qx::http::impl {

/// One of the transfers that a multi connection can run at the same time: an easy handle for life, and the request that
/// it works on. Free while `request` is null, in flight while `activeMulti` is set. The handle points into the slot, so
/// it never moves.
struct TransferSlot {
  /// What `content` holds ready between requests: ordinary responses allocate nothing, and a huge one does not pin
  /// its memory for the life of the slot.
  static constexpr size_t sContentCapacity = 262144;

  explicit TransferSlot(HttpMultiConnection& multiConnection);
  TransferSlot(const TransferSlot&) = delete;
  TransferSlot& operator=(const TransferSlot&) = delete;
  ~TransferSlot();

  /// Destroys the request, empties what belongs to the response, and takes the handle off the multi handle.
  void reset() noexcept;

  /// Set the options for `request`, the second after the first; the ORed results.
  int installParameters(const ConnectionParameters& parameters);
  int installRequest(const list<string>& commonHeaders);

  HttpMultiConnection* const owner;
  HttpProxyFinder proxyFinder;
  CurlStringList headerList;
  CurlEasyPtr easyHandle;
  CURLM* activeMulti = nullptr;
  std::array<char, CURL_ERROR_SIZE> errorBuffer{};
  qxVariantMapImpl responseHeaders;
  vector<char> content;
  uint64 readPosition = 0;
  unique_ptr<HttpMultiConnection::Request> request;
  /// A byte of the response has arrived.
  bool dataSeen = false;
  ResponseHead head;
  /// The transfer ends at its next header, body or read callback.
  bool cancelled = false;
  /// What a callback could not throw through libcurl.
  ExceptionSlot failure;

 private:
  void installCallbacks() noexcept;
  int installMethod(int32 method) noexcept;
  int installHeaders(const list<string>& commonHeaders);

  static size_t OnHeader(char* data, size_t size, size_t count, void* slot) noexcept;
  static size_t OnWrite(char* data, size_t size, size_t count, void* slot) noexcept;
  static size_t OnRead(char* buffer, size_t size, size_t count, void* slot) noexcept;
  static int OnProgress(void* slot, curl_off_t, curl_off_t, curl_off_t, curl_off_t) noexcept;
};

}  // namespace qx::http::impl
