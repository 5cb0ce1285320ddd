#pragma once

#include "tests/support/internal/ProxyRecords.h"
#include "tests/support/internal/ServerStream.h"

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>

#include <array>

namespace qx::test {

/// One client's connection and the one to the server that belongs to it. It lives for as long as an operation is under
/// way. All but the constructor runs on the proxy's thread.
class ProxySession : public std::enable_shared_from_this<ProxySession> {
 public:
  ProxySession(asio::io_context& context, shared_ptr<ProxyRecords> records, unique_ptr<ServerStream> client,
               const FaultyProxyOptions& options);

  void start();
  /// Ends the connection in good order towards the client, whose close is then awaited.
  void drop();
  /// Closes both sockets; with `reset` the client's by an RST. What is under way ends.
  void close(bool reset);

 private:
  using Then = std::function<void()>;

  /// One direction. It reads only when everything that it has read before is passed on.
  struct Way {
    explicit Way(asio::io_context& context) : timer(context) {}

    ServerStream* to = nullptr;
    asio::steady_timer timer;
    std::array<char, 65536> buffer;
    string output;          ///< what is left to be sent
    string piece;           ///< what is being sent
    uint64 passed = 0;      ///< bytes of the exchange that were sent
    bool mustWait = false;  ///< a piece was sent, and the next must find it read
  };

  void connect();
  void onConnected(const asio::error_code& error);
  void beginExchange();
  void readRequest();
  void onRequest(const asio::error_code& error, size_t n);
  void readReply();
  void onReply(const asio::error_code& error, size_t n);

  void passReply(string bytes);
  /// What comes behind the bytes before the fault's offset.
  void hitFault(string rest);

  void send(Way& way, string bytes, Then then);
  void sendPiece(Way& way, const Then& then);

  void endClient();
  /// Nothing more is read or sent, until the connection is dropped.
  void fallSilent();

  const shared_ptr<ProxyRecords> mRecords;
  const unique_ptr<ServerStream> mClient;
  unique_ptr<ServerStream> mServer;
  asio::ip::tcp::socket mConnecting;
  const uint16 mTarget;
  const bool mIsPerConnection;

  Way mRequest;
  Way mReply;
  Fault mFault;
  uint64 mReplyBytes = 0;
  bool mIsHit = false;
  bool mIsSilent = false;
  bool mIsEnded = false;  ///< nothing more is sent to the client
  bool mIsClosed = false;
};

}  // namespace qx::test
