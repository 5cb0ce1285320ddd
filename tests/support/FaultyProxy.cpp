#include "tests/support/FaultyProxy.h"

#include "netweft/base/system/qxStringUtils.h"
#include "tests/support/internal/ProxySession.h"

#include <asio/post.hpp>
#include <asio/ssl/context.hpp>

#include <future>
#include <thread>

namespace qx::test {

using asio::ip::tcp;

struct FaultyProxy::Impl {
  explicit Impl(FaultyProxyOptions given);
  ~Impl();

  /// Runs `act` on the proxy's thread and waits for its end.
  void runThere(const std::function<void()>& act);
  /// A socket that has the port and does not listen: connections to it are refused.
  void bind();
  void accept();
  void forEachSession(const std::function<void(ProxySession&)>& act);

  const FaultyProxyOptions options;
  const shared_ptr<ProxyRecords> records = std::make_shared<ProxyRecords>();
  const shared_ptr<asio::ssl::context> tls;
  asio::io_context context{1};
  asio::executor_work_guard<asio::io_context::executor_type> work{context.get_executor()};
  tcp::acceptor acceptor{context};
  uint16 port = 0;
  /// Only for the proxy's thread.
  list<std::weak_ptr<ProxySession>> sessions;
  std::thread thread;
};

FaultyProxy::Impl::Impl(FaultyProxyOptions given)
    : options(std::move(given)), tls(options.tls ? CreateServerContext(*options.tls) : nullptr) {
  bind();
  acceptor.listen();
  accept();
  thread = std::thread([this] { context.run(); });
}

FaultyProxy::Impl::~Impl() {
  runThere([this] {
    asio::error_code ignored;
    acceptor.close(ignored);
    forEachSession([](ProxySession& session) { session.close(false); });
    work.reset();
  });
  thread.join();
}

void FaultyProxy::Impl::runThere(const std::function<void()>& act) {
  const auto done = std::make_shared<std::promise<void>>();
  asio::post(context, [&act, done] {
    act();
    done->set_value();
  });
  done->get_future().wait();
}

void FaultyProxy::Impl::bind() {
  acceptor.open(tcp::v4());
  acceptor.set_option(tcp::acceptor::reuse_address(true));
  acceptor.bind(tcp::endpoint(asio::ip::address_v4::loopback(), port));
  port = acceptor.local_endpoint().port();
}

void FaultyProxy::Impl::accept() {
  acceptor.async_accept([this](const asio::error_code& error, tcp::socket socket) {
    // The port may have been closed and opened again meanwhile, and then another accept is under way.
    if (error == asio::error::operation_aborted || !acceptor.is_open()) return;
    if (!error) {
      auto client = tls ? CreateTlsStream(std::move(socket), *tls) : CreatePlainStream(std::move(socket));
      const auto session = std::make_shared<ProxySession>(context, records, std::move(client), options);
      sessions.remove_if([](const std::weak_ptr<ProxySession>& old) { return old.expired(); });
      sessions.push_back(session);
      session->start();
    }
    accept();
  });
}

void FaultyProxy::Impl::forEachSession(const std::function<void(ProxySession&)>& act) {
  for (const std::weak_ptr<ProxySession>& weak : sessions) {
    if (const auto session = weak.lock()) act(*session);
  }
}

FaultyProxy::FaultyProxy(FaultyProxyOptions options) : mImpl(std::make_unique<Impl>(std::move(options))) {}

FaultyProxy::~FaultyProxy() = default;

uint16 FaultyProxy::getPort() const { return mImpl->port; }

string FaultyProxy::getUrl(const string& path) const {
  const string server = mImpl->tls ? "https://localhost:" : "http://127.0.0.1:";
  return server + qxStringUtils::fromUInt(mImpl->port, 1) + path;
}

void FaultyProxy::setPlan(Plan plan) { mImpl->records->setPlan(std::move(plan)); }

void FaultyProxy::setFault(const Fault& fault) {
  setPlan([fault] { return fault; });
}

void FaultyProxy::closePort() {
  mImpl->runThere([this] {
    mImpl->acceptor.close();
    mImpl->bind();
  });
}

void FaultyProxy::openPort() {
  mImpl->runThere([this] {
    mImpl->acceptor.listen();
    mImpl->accept();
  });
}

void FaultyProxy::dropConnections() {
  mImpl->runThere([this] { mImpl->forEachSession([](ProxySession& session) { session.drop(); }); });
}

uint64 FaultyProxy::getAcceptedConnections() const { return mImpl->records->getCounts().accepted; }
uint64 FaultyProxy::getOpenConnections() const { return mImpl->records->getCounts().open; }
uint64 FaultyProxy::getExchanges() const { return mImpl->records->getCounts().exchanges; }
uint64 FaultyProxy::getHits() const { return mImpl->records->getCounts().hits; }
uint64 FaultyProxy::getReplyBytes() const { return mImpl->records->getCounts().replyBytes; }

bool FaultyProxy::waitForOpenConnections(uint64 count, Milliseconds timeout) const {
  return mImpl->records->wait(timeout, [count](const auto& counts) { return counts.open == count; });
}

bool FaultyProxy::waitForExchanges(uint64 count, Milliseconds timeout) const {
  return mImpl->records->wait(timeout, [count](const auto& counts) { return counts.exchanges >= count; });
}

}  // namespace qx::test
