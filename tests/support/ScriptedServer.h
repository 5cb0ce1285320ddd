#pragma once

#include "tests/support/Reply.h"
#include "tests/support/Request.h"
#include "tests/support/TlsIdentity.h"

#include <concepts>
#include <functional>
#include <optional>

namespace qx::test {

struct ScriptedServerOptions {
  std::optional<TlsIdentity> tls = {};  ///< set: every connection starts with a TLS handshake
  bool isTls11 = false;                 ///< speaks TLS 1.1 at most, which clients of today refuse
  bool isIpv6 = false;                  ///< listens on ::1 at the same port too
  uint16 port = 0;                      ///< 0: any free one; a number brings a server back at its old place
};

/// A server on loopback, on a thread of its own, that answers as the test says and remembers all that it was sent.
///
/// A request is answered by the first of: the oldest queued reply; the handler; a 500 that says so. Requests on a kept
/// connection are answered one after the other. Bodies with Content-Length and with chunks are read to their end before
/// the answer starts, and "Expect: 100-continue" is granted. A client that asks for "Connection: close" gets it.
///
/// All operations may be called from any thread. The destructor drops every connection, also in mid-reply, and joins.
class ScriptedServer {
 public:
  using Handler = std::function<Reply(const Request&)>;
  using Milliseconds = std::chrono::milliseconds;

  static constexpr Milliseconds DefaultTimeout = std::chrono::seconds(20);

  explicit ScriptedServer(ScriptedServerOptions options = {});
  /// `handler` is anything that a `Handler` can hold.
  template <std::invocable<const Request&> H>
  explicit ScriptedServer(H handler, ScriptedServerOptions options = {}) : ScriptedServer(std::move(options)) {
    setHandler(std::move(handler));
  }
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;
  ~ScriptedServer();

  uint16 getPort() const;
  /// "http://127.0.0.1:port" + `path`, or "https://localhost:port" with TLS, since that is the name in good
  /// certificates.
  string getUrl(const string& path = "/") const;
  string getUrlFor(const string& host, const string& path = "/") const;

  /// The answer to one request, whichever connection it comes on. First in, first out.
  void queue(Reply reply);
  /// The whole life of one connection, from its accept (or its TLS handshake) on; it closes at the end of the steps.
  /// Played for the next connection that is accepted, before any request is read as HTTP.
  void queueConnection(Reply script);
  /// Answers all requests for which no reply is queued. It runs on the server's thread: while it blocks, nothing else
  /// moves.
  void setHandler(Handler handler);

  /// Drops every open connection with an RST.
  void resetConnections();

  /// Complete requests so far, in the order in which they were complete.
  vector<Request> getRequests() const;
  /// The one at `index`, after waiting for it; a Request without a line when it did not come in time.
  Request getRequest(uint64 index) const;
  uint64 getRequestCount() const;
  /// Every byte that the connection at `index` sent so far (with TLS: decrypted); empty when there is none.
  string getRawBytes(uint64 connection) const;

  /// Counted since the start; a connection counts from its accept. `getClosedConnections` counts those that either side
  /// has ended.
  uint64 getAcceptedConnections() const;
  uint64 getOpenConnections() const;
  uint64 getClosedConnections() const;
  /// TLS handshakes that failed.
  uint64 getFailedHandshakes() const;

  /// Each waits until at least `count` are there (`waitForOpenConnections`: exactly), and is false when time ran out.
  [[nodiscard]] bool waitForRequests(uint64 count, Milliseconds timeout = DefaultTimeout) const;
  [[nodiscard]] bool waitForConnections(uint64 count, Milliseconds timeout = DefaultTimeout) const;
  [[nodiscard]] bool waitForClosedConnections(uint64 count, Milliseconds timeout = DefaultTimeout) const;
  [[nodiscard]] bool waitForOpenConnections(uint64 count, Milliseconds timeout = DefaultTimeout) const;
  /// Until the connection at `index` has sent `text`, complete request or not.
  [[nodiscard]] bool waitForRawBytes(uint64 connection, const string& text,
                                     Milliseconds timeout = DefaultTimeout) const;

 private:
  struct Impl;
  unique_ptr<Impl> mImpl;
};

/// A port of loopback at which connections are refused for as long as this lives.
class RefusingPort {
 public:
  RefusingPort();
  RefusingPort(const RefusingPort&) = delete;
  RefusingPort& operator=(const RefusingPort&) = delete;
  ~RefusingPort();

  uint16 getPort() const { return mPort; }
  string getUrl(const string& path = "/") const;

 private:
  int mSocket;
  uint16 mPort;
};

}  // namespace qx::test
