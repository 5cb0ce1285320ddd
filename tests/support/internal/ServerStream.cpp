#include "tests/support/internal/ServerStream.h"

#include <asio/post.hpp>
#include <asio/ssl.hpp>
#include <asio/write.hpp>

namespace qx::test {

namespace {

void EndSendingOn(asio::ip::tcp::socket& socket) {
  asio::error_code ignored;
  socket.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
}

class PlainStream final : public ServerStream {
 public:
  explicit PlainStream(Socket socket) : mSocket(std::move(socket)) {}

  void asyncHandshake(Done done) override {
    asio::post(mSocket.get_executor(), [done = std::move(done)] { done(asio::error_code(), 0); });
  }
  void asyncRead(char* data, size_t n, Done done) override {
    mSocket.async_read_some(asio::buffer(data, n), std::move(done));
  }
  void asyncWrite(const string& text, Done done) override {
    asio::async_write(mSocket, asio::buffer(text), std::move(done));
  }
  void endSending(shared_ptr<void>) override { EndSendingOn(mSocket); }
  Socket& editSocket() override { return mSocket; }

 private:
  Socket mSocket;
};

class TlsStream final : public ServerStream {
 public:
  TlsStream(Socket socket, asio::ssl::context& context) : mStream(std::move(socket), context) {}

  void asyncHandshake(Done done) override {
    mStream.async_handshake(asio::ssl::stream_base::server,
                            [done = std::move(done)](const asio::error_code& error) { done(error, 0); });
  }
  void asyncRead(char* data, size_t n, Done done) override {
    mStream.async_read_some(asio::buffer(data, n), std::move(done));
  }
  void asyncWrite(const string& text, Done done) override {
    asio::async_write(mStream, asio::buffer(text), std::move(done));
  }
  // The close-notify is written when the shutdown starts; its other half, the peer's answer, may never come.
  void endSending(shared_ptr<void> owner) override {
    mStream.async_shutdown([owner = std::move(owner)](const asio::error_code&) {});
    EndSendingOn(mStream.next_layer());
  }
  Socket& editSocket() override { return mStream.next_layer(); }

 private:
  asio::ssl::stream<Socket> mStream;
};

}  // namespace

shared_ptr<asio::ssl::context> CreateServerContext(const TlsIdentity& identity) {
  auto context = std::make_shared<asio::ssl::context>(asio::ssl::context::tls_server);
  context->use_certificate_chain(asio::buffer(identity.certificateChainPem));
  context->use_private_key(asio::buffer(identity.keyPem), asio::ssl::context::pem);
  return context;
}

unique_ptr<ServerStream> CreatePlainStream(asio::ip::tcp::socket socket) {
  return std::make_unique<PlainStream>(std::move(socket));
}

unique_ptr<ServerStream> CreateTlsStream(asio::ip::tcp::socket socket, asio::ssl::context& context) {
  return std::make_unique<TlsStream>(std::move(socket), context);
}

}  // namespace qx::test
