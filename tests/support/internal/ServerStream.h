#pragma once

#include "tests/support/TlsIdentity.h"

#include <asio/ip/tcp.hpp>

#include <functional>

namespace asio::ssl {
class context;
}

namespace qx::test {

/// One accepted connection, bare or under TLS. Completions run on the server's thread. At most one read and one write
/// are under way; the buffers stay the caller's until the completion.
class ServerStream {
 public:
  using Done = std::function<void(const asio::error_code& error, size_t n)>;
  using Socket = asio::ip::tcp::socket;

  virtual ~ServerStream() = default;

  virtual void asyncHandshake(Done done) = 0;
  virtual void asyncRead(char* data, size_t n, Done done) = 0;
  virtual void asyncWrite(const string& text, Done done) = 0;
  /// Tells the peer that nothing more comes; reading goes on. `owner` is held for as long as that takes.
  virtual void endSending(shared_ptr<void> owner) = 0;
  virtual Socket& editSocket() = 0;
};

shared_ptr<asio::ssl::context> CreateServerContext(const TlsIdentity& identity);

unique_ptr<ServerStream> CreatePlainStream(asio::ip::tcp::socket socket);
unique_ptr<ServerStream> CreateTlsStream(asio::ip::tcp::socket socket, asio::ssl::context& context);

}  // namespace qx::test
