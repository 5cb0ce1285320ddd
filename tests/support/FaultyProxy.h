#pragma once

#include "tests/support/TlsIdentity.h"

#include <chrono>
#include <functional>
#include <optional>

namespace qx::test {

/// What a bad network does to one exchange: to the bytes of one request and to those of the reply.
struct Fault {
  enum Kind {
    FK_None,
    FK_Reset,       ///< the connection is reset when the exchange begins, at its start or with the next request
    FK_Close,       ///< the same in good order: so ends a kept connection whose server gave it up a moment ago
    FK_Deaf,        ///< the client's bytes are not taken any more; small requests stay in the sockets' buffers
    FK_Stall,       ///< behind `offset` bytes of the reply nothing more comes, and the connection stays open
    FK_Delay,       ///< behind `offset` bytes of the reply the rest waits for `pause`
    FK_Cut,         ///< behind `offset` bytes of the reply the connection ends in good order
    FK_CutByReset,  ///< ... or by a reset
    FK_Corrupt,     ///< the byte at `offset` of the reply is another one: all bits of `mask` are turned over
    FK_Slice,       ///< request and reply come in pieces of `pieceSize` bytes, as `Reply` sends its pieces
  };

  Kind kind = FK_None;
  uint64 offset = 0;
  std::chrono::milliseconds pause{0};
  uint64 pieceSize = 1;
  /// Slice: so many bytes of the exchange, in each direction, come in pieces; the others as they are.
  uint64 slicedBytes = ~uint64{0};
  unsigned char mask = 1;
};

struct FaultyProxyOptions {
  uint16 target = 0;                    ///< the port of the server, on 127.0.0.1
  std::optional<TlsIdentity> tls = {};  ///< set: TLS ends here and the server gets plain bytes, so that faults hit HTTP
  /// One fault for a whole connection, its offset counted from the first byte that the server sends. For TLS that is
  /// passed through, where an exchange of bytes is no exchange of HTTP.
  bool isPerConnection = false;
};

/// A way to a server through a network that has faults: a proxy on loopback, on a thread of its own, with one
/// connection to the server for each that it accepts. It knows bytes alone: an exchange begins with the connection, and
/// again with the first byte that a client sends after some of a reply has come. So a "100 Continue" is an exchange of
/// its own.
///
/// All operations may be called from any thread. The destructor drops every connection and joins.
class FaultyProxy {
 public:
  /// Tells the fault of the exchange that begins. Runs on the proxy's thread.
  using Plan = std::function<Fault()>;
  using Milliseconds = std::chrono::milliseconds;

  static constexpr Milliseconds DefaultTimeout = std::chrono::seconds(20);

  explicit FaultyProxy(FaultyProxyOptions options);
  FaultyProxy(const FaultyProxy&) = delete;
  FaultyProxy& operator=(const FaultyProxy&) = delete;
  ~FaultyProxy();

  uint16 getPort() const;
  /// "http://127.0.0.1:port" + `path`, or "https://localhost:port" where TLS ends here.
  string getUrl(const string& path = "") const;

  /// For each exchange that begins from now on. What has begun keeps its fault.
  void setPlan(Plan plan);
  void setFault(const Fault& fault);
  void heal() { setFault({}); }

  /// New connections are refused, as by a machine on which nothing listens. The port stays this proxy's own.
  void closePort();
  void openPort();
  /// Ends every connection in good order, also those that stall and those that are idle between two exchanges.
  void dropConnections();

  uint64 getAcceptedConnections() const;
  uint64 getOpenConnections() const;
  uint64 getExchanges() const;
  /// Faults that have come about: a cut counts when so many bytes have come, a stall as well.
  uint64 getHits() const;
  /// The bytes that the server has sent since the last exchange (or connection, see the options) began.
  uint64 getReplyBytes() const;
  /// False when time ran out.
  [[nodiscard]] bool waitForOpenConnections(uint64 count, Milliseconds timeout = DefaultTimeout) const;
  [[nodiscard]] bool waitForExchanges(uint64 count, Milliseconds timeout = DefaultTimeout) const;

 private:
  struct Impl;
  unique_ptr<Impl> mImpl;
};

}  // namespace qx::test
