#pragma once

#include "netweft/base/system/qxTypes.h"
#include "netweft/http/internal/ExceptionSlot.h"
#include "netweft/http/internal/ResponseHead.h"

namespace qx {
class Url;
}

namespace qx::http {
class HttpConnection;
struct ConnectionParameters;
}  // namespace qx::http

namespace qx::http::impl {

/// A POST of a JSON body whose whole answer is wanted in memory. One object serves many requests, one after the other,
/// on one thread; it must not move while one runs, nor die before the connection makes its next request elsewhere.
class JsonPost {
 public:
  /// True when the answer came with status 200; it is then in `response`. Otherwise the connection tells the reason,
  /// and `response` holds whatever arrived. Nothing can cancel it: it ends by itself, or by the time limits of the
  /// connection's parameters.
  ///
  /// Throws std::bad_alloc.
  bool perform(HttpConnection& connection, const Url& url);

  /// The time limits of a worker that asks for large answers: 30 s to connect, and then 1,200 s below 10 bytes a
  /// second.
  static void MakePatient(ConnectionParameters& parameters) noexcept;

  bytes body;
  string response;

 private:
  /// The `HttpConnection::SetupCallback`; `post` is this object. Starts body and response anew, for each attempt.
  static int SetUp(void* curlHandle, void* post, list<string>& headers);
  static size_t OnWrite(char* data, size_t size, size_t count, void* post) noexcept;
  static size_t OnHeader(char* data, size_t size, size_t count, void* post) noexcept;
  static size_t OnRead(char* buffer, size_t size, size_t count, void* post) noexcept;

  size_t mReadPosition = 0;
  ResponseHead mHead;
  ExceptionSlot mFailure;
};

}  // namespace qx::http::impl
