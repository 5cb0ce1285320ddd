#include "tests/support/ScriptedServer.h"

#include "netweft/base/system/qxStringUtils.h"
#include "tests/support/FaultExemption.h"
#include "tests/support/internal/ServerSession.h"

#include <asio/post.hpp>
#include <asio/ssl/context.hpp>

#include <thread>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qx::test {

namespace {

using asio::ip::tcp;

string ToUrl(const string& schema, const string& host, uint16 port, const string& path) {
  return schema + "://" + host + ":" + qxStringUtils::fromUInt(port, 1) + path;
}

shared_ptr<asio::ssl::context> CreateTlsContext(const ScriptedServerOptions& options) {
  if (!options.tls) return nullptr;
  auto context = CreateServerContext(*options.tls);
  if (options.isTls11) {
    SSL_CTX_set_security_level(context->native_handle(), 0);
    SSL_CTX_set_min_proto_version(context->native_handle(), TLS1_1_VERSION);
    SSL_CTX_set_max_proto_version(context->native_handle(), TLS1_1_VERSION);
  }
  return context;
}

}  // namespace

struct ScriptedServer::Impl {
  explicit Impl(ScriptedServerOptions options);
  ~Impl();

  /// Both families at one port, which the first of them chooses.
  void listen(const ScriptedServerOptions& options);
  void accept(tcp::acceptor& acceptor);
  void dropSessions(bool reset);

  const shared_ptr<asio::io_context> context = std::make_shared<asio::io_context>(1);
  const shared_ptr<ServerRecords> records = std::make_shared<ServerRecords>();
  const shared_ptr<asio::ssl::context> tls;
  list<tcp::acceptor> acceptors;
  uint16 port = 0;
  /// Only for the server's thread.
  list<std::weak_ptr<ServerSession>> sessions;
  std::thread thread;
};

ScriptedServer::Impl::Impl(ScriptedServerOptions options) : tls(CreateTlsContext(options)) {
  listen(options);
  for (tcp::acceptor& acceptor : acceptors) accept(acceptor);
  thread = std::thread([this] {
    const FaultExemption own;
    context->run();
  });
}

// Everything under way is ended and not abandoned: a handler left in the context would keep its session, and the
// session the context.
ScriptedServer::Impl::~Impl() {
  asio::post(*context, [this] {
    asio::error_code ignored;
    for (tcp::acceptor& acceptor : acceptors) acceptor.close(ignored);
    dropSessions(false);
  });
  thread.join();
}

void ScriptedServer::Impl::listen(const ScriptedServerOptions& options) {
  constexpr int attempts = 100;
  for (int attempt = 1;; ++attempt) {
    acceptors.clear();
    acceptors.emplace_back(*context, tcp::endpoint(asio::ip::address_v4::loopback(), options.port));
    port = acceptors.front().local_endpoint().port();
    if (!options.isIpv6) return;
    try {
      acceptors.emplace_back(*context, tcp::endpoint(asio::ip::address_v6::loopback(), port));
      return;
    } catch (const asio::system_error&) {
      // Somebody else has that port in the other family.
      if (options.port != 0 || attempt == attempts) throw;
    }
  }
}

void ScriptedServer::Impl::accept(tcp::acceptor& acceptor) {
  acceptor.async_accept([this, &acceptor](const asio::error_code& error, tcp::socket socket) {
    if (!acceptor.is_open()) return;
    if (!error) {
      auto stream = tls ? CreateTlsStream(std::move(socket), *tls) : CreatePlainStream(std::move(socket));
      auto session = std::make_shared<ServerSession>(context, records, std::move(stream));
      sessions.remove_if([](const std::weak_ptr<ServerSession>& old) { return old.expired(); });
      sessions.push_back(session);
      session->start();
    }
    accept(acceptor);
  });
}

void ScriptedServer::Impl::dropSessions(bool reset) {
  for (const std::weak_ptr<ServerSession>& weak : sessions) {
    if (const auto session = weak.lock()) session->drop(reset);
  }
}

ScriptedServer::ScriptedServer(ScriptedServerOptions options) : mImpl(std::make_unique<Impl>(std::move(options))) {}

ScriptedServer::~ScriptedServer() = default;

uint16 ScriptedServer::getPort() const { return mImpl->port; }

string ScriptedServer::getUrl(const string& path) const {
  return getUrlFor(mImpl->tls ? "localhost" : "127.0.0.1", path);
}

string ScriptedServer::getUrlFor(const string& host, const string& path) const {
  return ToUrl(mImpl->tls ? "https" : "http", host, mImpl->port, path);
}

void ScriptedServer::queue(Reply reply) { mImpl->records->queue(std::move(reply)); }
void ScriptedServer::queueConnection(Reply script) { mImpl->records->queueConnection(std::move(script)); }
void ScriptedServer::setHandler(Handler handler) { mImpl->records->setHandler(std::move(handler)); }

void ScriptedServer::resetConnections() {
  asio::post(*mImpl->context, [impl = mImpl.get()] { impl->dropSessions(true); });
}

vector<Request> ScriptedServer::getRequests() const { return mImpl->records->getRequests(); }

Request ScriptedServer::getRequest(uint64 index) const {
  return waitForRequests(index + 1) ? mImpl->records->getRequest(index) : Request();
}

uint64 ScriptedServer::getRequestCount() const { return mImpl->records->getCounts().requests; }
string ScriptedServer::getRawBytes(uint64 connection) const { return mImpl->records->getRawBytes(connection); }
uint64 ScriptedServer::getAcceptedConnections() const { return mImpl->records->getCounts().accepted; }
uint64 ScriptedServer::getOpenConnections() const { return mImpl->records->getCounts().getOpen(); }
uint64 ScriptedServer::getClosedConnections() const { return mImpl->records->getCounts().closed; }
uint64 ScriptedServer::getFailedHandshakes() const { return mImpl->records->getCounts().failedHandshakes; }

bool ScriptedServer::waitForRequests(uint64 count, Milliseconds timeout) const {
  return mImpl->records->wait(timeout, [count](const auto& counts) { return counts.requests >= count; });
}

bool ScriptedServer::waitForConnections(uint64 count, Milliseconds timeout) const {
  return mImpl->records->wait(timeout, [count](const auto& counts) { return counts.accepted >= count; });
}

bool ScriptedServer::waitForClosedConnections(uint64 count, Milliseconds timeout) const {
  return mImpl->records->wait(timeout, [count](const auto& counts) { return counts.closed >= count; });
}

bool ScriptedServer::waitForOpenConnections(uint64 count, Milliseconds timeout) const {
  return mImpl->records->wait(timeout, [count](const auto& counts) { return counts.getOpen() == count; });
}

bool ScriptedServer::waitForRawBytes(uint64 connection, const string& text, Milliseconds timeout) const {
  return mImpl->records->waitForRawBytes(connection, text, timeout);
}

RefusingPort::RefusingPort() : mSocket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), mPort(0) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ::bind(mSocket, reinterpret_cast<const sockaddr*>(&address), size);
  ::getsockname(mSocket, reinterpret_cast<sockaddr*>(&address), &size);
  mPort = ntohs(address.sin_port);
}

RefusingPort::~RefusingPort() { ::close(mSocket); }

string RefusingPort::getUrl(const string& path) const { return ToUrl("http", "127.0.0.1", mPort, path); }

}  // namespace qx::test
