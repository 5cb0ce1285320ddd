#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"
#include "netweft/http/HttpConnection.h"

namespace qx {
class qxIoDevice;
class Url;
}  // namespace qx

namespace qx::http {

/// One verb, one call of `HttpConnection::getHttpData`: the usual requests, with the answer in a `HttpResult`.
///
/// Each is true when the transfer went through and the status was the expected one. What they share:
///
/// - `result` says where the answer goes, and may be null. Without one, a failure is written to the log, channel
/// "http",
///   unless the status is 404 (an answer to many callers) or `abortFlag` is raised.
/// - `parameters`, if not null, replace the connection's own for this call alone. The connection's own are put back in
///   any case, and so a change of address family by the connection's retry does not outlive the call either.
/// - `headers`, if not null, are header lines of this call alone, behind the connection's common ones. Each request
/// also
///   carries a Content-Type, with or without a body: "application/json" from the JSON forms, in addition to any of the
///   caller's; from the others "application/octet-stream", unless a line of `headers` holds "Content-Type:".
/// - `expected` is the status that counts as success, 0 for any. It is one byte wide: statuses above 255 cannot be
///   expected.
/// - `abortFlag`, if not null, may be raised by another thread (with `StoreFlag`) and ends the transfer at the next
/// bytes
///   that it moves, in either direction. A transfer in which nothing moves is not ended by it, but by the stall limits
///   of the parameters. `HttpHead` and `HttpDelete` run to their end; there the flag only keeps the log silent.
///
/// Bodies are sent from where they lie and stay the caller's; after a redirect or an authentication round they are sent
/// again. All pointers must live as long as the call and are forgotten when it returns.
///
/// No state of its own: one thread per connection. Exceptions of a `contentDevice` and std::bad_alloc end the transfer
/// and reach the caller; the connection stays usable.
class NETWEFT_EXPORT HttpHelpers {
 public:
  /// Where an answer goes. The sinks stay the caller's; each may be null. The strings and the map are emptied when the
  /// call begins.
  class NETWEFT_EXPORT HttpResult {
   public:
    /// The body.
    string* content = nullptr;
    /// Gets the body too, as it comes, and is not emptied before. Bytes that it does not take are lost, and the
    /// transfer goes on: ask the device itself whether it is still `good()`.
    qxIoDevice* contentDevice = nullptr;
    /// `HttpConnection::getLastErrorMsg()` after the call.
    string* errorMessage = nullptr;
    /// With them asked for, an answer that breaks off in its head is a failure. Without, libcurl takes it for one that
    /// has no body.
    ///
    /// Keys in lower case; of a repeated header the first value, across redirects too. A status line is a key.
    map<string, string>* headers = nullptr;
    /// Status of the last response; 0 when there was none.
    uint32 httpReturnCode = 0;
    /// Bytes of the body, as counted after decoding, redirected responses included.
    uint64 receivedBytes = 0;

   private:
    friend class HttpHelpers;
    void clearResultAttributes();
    void setResults(const HttpConnection& connection);
  };

  /// Expects 200.
  static bool HttpGet(HttpConnection& connection, const Url& url, HttpResult* result = nullptr,
                      const ConnectionParameters* parameters = nullptr, const list<string>* headers = nullptr,
                      const bool* abortFlag = nullptr);

  /// The body comes into `content`, in place of `result->content`, which gets a copy when the call ends. A `body` that
  /// is not empty is sent along with the GET, as JSON if `isJson`. Expects 200.
  static bool HttpGetJson(HttpConnection& connection, const Url& url, string& content, HttpResult* result = nullptr,
                          const ConnectionParameters* parameters = nullptr, const list<string>* headers = nullptr,
                          const bool* abortFlag = nullptr, const char* body = nullptr, size_t bodySize = 0,
                          bool isJson = false);
  /// `body` may be null.
  static bool HttpGetJson(HttpConnection& connection, const Url& url, string& content, HttpResult* result,
                          const ConnectionParameters* parameters, const list<string>* headers, const bool* abortFlag,
                          const string* body, bool isJson);

  /// No body comes into `result`. Expects 200.
  static bool HttpHead(HttpConnection& connection, const Url& url, HttpResult* result = nullptr,
                       const ConnectionParameters* parameters = nullptr, const list<string>* headers = nullptr,
                       const bool* abortFlag = nullptr);
  /// Expects 200.
  static bool HttpDelete(HttpConnection& connection, const Url& url, HttpResult* result = nullptr,
                         const ConnectionParameters* parameters = nullptr, const list<string>* headers = nullptr,
                         const bool* abortFlag = nullptr);

  /// Post a body. Expect the status `expected`.
  static bool HttpPost(HttpConnection& connection, const Url& url, const string& body, unsigned char expected,
                       HttpResult* result = nullptr, const ConnectionParameters* parameters = nullptr,
                       const list<string>* headers = nullptr, const bool* abortFlag = nullptr);
  static bool HttpPost(const char* body, size_t bodySize, HttpConnection& connection, const Url& url,
                       unsigned char expected, HttpResult* result = nullptr,
                       const ConnectionParameters* parameters = nullptr, const list<string>* headers = nullptr,
                       const bool* abortFlag = nullptr);
  /// The same, with "application/json".
  static bool HttpPostJson(HttpConnection& connection, const Url& url, const char* body, size_t bodySize,
                           unsigned char expected, HttpResult* result = nullptr,
                           const ConnectionParameters* parameters = nullptr, const list<string>* headers = nullptr,
                           const bool* abortFlag = nullptr);

  /// Puts a body. Expects the status `expected`.
  static bool HttpPut(HttpConnection& connection, const Url& url, const string& body, unsigned char expected,
                      HttpResult* result = nullptr, const ConnectionParameters* parameters = nullptr,
                      const list<string>* headers = nullptr, const bool* abortFlag = nullptr);
  /// The same, with "application/json".
  static bool HttpPutJson(HttpConnection& connection, const Url& url, const char* body, size_t bodySize,
                          unsigned char expected, HttpResult* result = nullptr,
                          const ConnectionParameters* parameters = nullptr, const list<string>* headers = nullptr,
                          const bool* abortFlag = nullptr);

  HttpHelpers() = delete;

 private:
  class CallScope;
  class ContentScope;
  struct Call;

  /// Around `GenericCall`: a result for those who gave none, and the log line.
  static bool RunVerb(const Call& call);
  static bool GenericCall(HttpConnection& connection, const Url& url, HttpResult& result,
                          const ConnectionParameters* parameters, const list<string>* headers, void* request,
                          unsigned char expected, const bool* abortFlag);
};

}  // namespace qx::http
