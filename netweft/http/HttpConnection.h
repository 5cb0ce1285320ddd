#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"
#include "netweft/http/ConnectionParameters.h"

namespace qx {
class Url;
}

namespace qx::http::impl {
class JsonPost;
}

namespace qx::http {

/// The blocking HTTP client: one libcurl easy handle, kept open from request to request together with its TCP and TLS
/// connections, one request at a time, on the caller's thread. What a request sends and where the answer goes is
/// decided by a callback that sets options on the handle; `HttpHelpers` has ready ones for the usual verbs.
///
/// A connection is for one thread at a time; different connections may run on different threads at once. Nothing
/// outside can interrupt a running request: cancellation works from inside the write, read or progress function that
/// the callback installed.
///
/// Transfer problems throw nothing. std::bad_alloc, and whatever a set-up callback throws, reach the caller; the
/// connection has then lost its handle and stays usable.
class NETWEFT_EXPORT HttpConnection {
 public:
  /// How its transfers behave.
  using ConnectionParameters = http::ConnectionParameters;

  /// Runs on the caller's thread before each attempt, so twice when a request is retried. It may set any option on the
  /// live easy handle (`curlHandle` is a `CURL*`): the verb, the body, the write, read and progress functions.
  /// Functions that libcurl calls must not throw. It must not use the connection itself. `headers` comes empty; what
  /// it appends is sent as header lines of this request alone. A non-zero result stops the request.
  ///
  /// `userData` becomes the data pointer of the write, the read and the progress function when the callback has
  /// returned: setting those three itself has no effect.
  using SetupCallback = int (*)(void* curlHandle, void* userData, list<string>& headers);

  /// Touches no network and needs no initialised library. With `countConnections` a successful request also asks
  /// libcurl how many connections it opened, which nobody sees: the pool builds its connections that way.
  explicit HttpConnection(bool countConnections);
  HttpConnection(const HttpConnection&) = delete;
  HttpConnection& operator=(const HttpConnection&) = delete;
  ~HttpConnection();

  /// Performs one request; true when it succeeded. The response's Content-Type must equal `expectedType` byte for byte,
  /// parameters included, unless that is empty; its status must equal `expectedReturnCode` unless that is 0 or less.
  /// An answer that differs is a failure that keeps the connection open; every other failure closes it.
  ///
  /// A host name that cannot be resolved, or whose certificate does not hold, is tried once more with any address
  /// family if the parameters (not the process default) prefer one. `HNRP_Whatever` then stays in the parameters until
  /// they are set again.
  ///
  /// `callback` may be null, and options that an earlier callback set stay on the handle: without a data callback
  /// `userData` must fit the write function that the handle has, which on a fresh one is `fwrite` to a `FILE*`.
  /// `userData` stays the caller's, and the handle forgets it before this returns. Any other data pointer that a
  /// callback sets (for the header function, say) stays on the handle like every option, and must live as long.
  ///
  /// A connection that ends within the head of an answer, behind the status line, is to libcurl the end of an answer
  /// without a body, and so to this. Whoever must know gives a header function of his own and looks for the empty line
  /// that ends a head; `HttpHelpers` does when it is asked for the headers.
  ///
  /// The time limits of the parameters bound connecting and stalling, not the whole transfer.
  bool getHttpData(const qx::Url& url, const string& expectedType, long expectedReturnCode, SetupCallback callback,
                   void* userData);

  /// Closes the handle and its TCP connection, and drops its cookies. Parameters, common headers and diagnostics stay.
  void clearConnection();

  /// Changes count from the next request on. The references live as long as the connection.
  const ConnectionParameters& getConnectionParameters() const noexcept;
  ConnectionParameters& editConnectionParameters() noexcept;
  void setConnectionParameters(const ConnectionParameters& parameters);

  /// Header lines sent with every request, ahead of the request's own.
  const list<string>& getCommonHeaders() const noexcept;
  void setCommonHeaders(const list<string>& headers);
  /// Appends `header` unless an equal line is there.
  void addCommonHeader(const string& header);

  /// What is known about the last request's failure, in one text. After a success it is empty or names the status
  /// alone. URLs in it are masked for display.
  string getLastErrorMsg() const;

  /// Status of the last request, also of one that died after the response's headers; 0 when there was none.
  long getLastHttpReturnCode() const noexcept;
  /// Content-Type of the last response; empty when there was none, and after a failed transfer.
  string getLastReceivedType() const;
  /// What `debugLevel` made the last request capture, sent headers with their credentials among it.
  const string& getLastDebugInformations() const noexcept;

  /// The last request ran into a time limit of the parameters; an abort by a callback is none.
  bool isLastCallTimedOut() const noexcept;
  /// The last request met a server whose certificate does not hold.
  bool isLastCallUnableToVerifyPeer() const noexcept;

 private:
  friend class HttpConnectionLocker;
  friend class HttpConnectionPool;
  friend class HttpHelpers;
  friend class impl::JsonPost;
  struct HttpConnectionImpl;

  bool setupConnection(const qx::Url& url);
  bool getHttpDataImpl(const string& encodedUrl, const string& expectedType, long expectedReturnCode, bool canRetry,
                       bool& retry, SetupCallback callback, void* userData);
  /// Of the last request; an empty URL before the first.
  const qx::Url& getLastUrl() const noexcept;
  /// For a caller whose header and ioctl functions got a record of its own stack: unsets both functions and their data
  /// pointers on a handle that is still open. To be called when `getHttpData` has returned.
  void forgetCallbackData() noexcept;

  unique_ptr<HttpConnectionImpl> mImpl;
  bool mCountConnections;
};

}  // namespace qx::http
