#include "tests/support/internal/ProxySession.h"

#include "tests/support/internal/PeerQueue.h"

#include <algorithm>

namespace qx::test {

namespace {

using asio::ip::tcp;

void SetNoDelay(tcp::socket& socket) {
  asio::error_code ignored;
  socket.set_option(tcp::no_delay(true), ignored);
}

}  // namespace

ProxySession::ProxySession(asio::io_context& context, shared_ptr<ProxyRecords> records, unique_ptr<ServerStream> client,
                           const FaultyProxyOptions& options)
    : mRecords(std::move(records)),
      mClient(std::move(client)),
      mConnecting(context),
      mTarget(options.target),
      mIsPerConnection(options.isPerConnection),
      mRequest(context),
      mReply(context) {
  mRecords->addConnection();
}

void ProxySession::start() {
  SetNoDelay(mClient->editSocket());
  beginExchange();
  if (mIsClosed) return;
  if (mFault.kind == Fault::FK_Deaf) return fallSilent();
  mClient->asyncHandshake([self = shared_from_this()](const asio::error_code& error, size_t) {
    if (error) return self->close(false);
    if (!self->mIsClosed) self->connect();
  });
}

void ProxySession::connect() {
  mConnecting.async_connect(tcp::endpoint(asio::ip::address_v4::loopback(), mTarget),
                            [self = shared_from_this()](const asio::error_code& error) { self->onConnected(error); });
}

void ProxySession::onConnected(const asio::error_code& error) {
  if (error) return close(true);
  if (mIsClosed) return;
  SetNoDelay(mConnecting);
  mServer = CreatePlainStream(std::move(mConnecting));
  mRequest.to = mServer.get();
  mReply.to = mClient.get();
  readRequest();
  readReply();
}

void ProxySession::beginExchange() {
  mFault = mRecords->beginExchange();
  mReplyBytes = 0;
  mIsHit = false;
  mRequest.passed = mReply.passed = 0;
  const Fault::Kind kind = mFault.kind;
  if (kind == Fault::FK_Reset || kind == Fault::FK_Close || kind == Fault::FK_Deaf || kind == Fault::FK_Slice) {
    mRecords->addHit();
  }
  if (kind == Fault::FK_Reset || kind == Fault::FK_Close) close(kind == Fault::FK_Reset);
}

void ProxySession::readRequest() {
  mClient->asyncRead(
      mRequest.buffer.data(), mRequest.buffer.size(),
      [self = shared_from_this()](const asio::error_code& error, size_t n) { self->onRequest(error, n); });
}

void ProxySession::onRequest(const asio::error_code& error, size_t n) {
  if (error) return close(false);
  if (mIsEnded) return readRequest();
  if (!mIsPerConnection && mReplyBytes != 0) beginExchange();
  if (mIsClosed) return;
  if (mFault.kind == Fault::FK_Deaf) return fallSilent();
  send(mRequest, string(mRequest.buffer.data(), n), [this] { readRequest(); });
}

void ProxySession::readReply() {
  mServer->asyncRead(mReply.buffer.data(), mReply.buffer.size(),
                     [self = shared_from_this()](const asio::error_code& error, size_t n) { self->onReply(error, n); });
}

void ProxySession::onReply(const asio::error_code& error, size_t n) {
  if (mIsClosed || mIsEnded) return;
  // A server that is killed resets its connections: so does the proxy.
  if (error && error != asio::error::eof) return close(true);
  if (error) return endClient();
  mRecords->addReplyBytes(n);
  passReply(string(mReply.buffer.data(), n));
}

void ProxySession::passReply(string bytes) {
  const uint64 start = mReplyBytes;
  mReplyBytes += bytes.size();
  switch (mFault.kind) {
    case Fault::FK_Stall:
    case Fault::FK_Delay:
    case Fault::FK_Cut:
    case Fault::FK_CutByReset: {
      if (mIsHit || mReplyBytes < mFault.offset) break;
      mIsHit = true;
      mRecords->addHit();
      string rest = bytes.substr(mFault.offset - start);
      bytes.resize(mFault.offset - start);
      return send(mReply, std::move(bytes), [this, rest = std::move(rest)] { hitFault(rest); });
    }
    case Fault::FK_Corrupt:
      if (mFault.offset >= start && mFault.offset < mReplyBytes) {
        mRecords->addHit();
        char& byte = bytes[mFault.offset - start];
        byte = static_cast<char>(byte ^ static_cast<char>(mFault.mask));
      }
      break;
    default: break;
  }
  send(mReply, std::move(bytes), [this] { readReply(); });
}

void ProxySession::hitFault(string rest) {
  if (mFault.kind == Fault::FK_Stall) return;
  if (mFault.kind == Fault::FK_Cut) return endClient();
  if (mFault.kind == Fault::FK_CutByReset) return close(true);
  mReply.timer.expires_after(mFault.pause);
  mReply.timer.async_wait([self = shared_from_this(), rest = std::move(rest)](const asio::error_code& error) {
    if (!error) self->send(self->mReply, rest, [session = self.get()] { session->readReply(); });
  });
}

void ProxySession::send(Way& way, string bytes, Then then) {
  way.output = std::move(bytes);
  sendPiece(way, then);
}

void ProxySession::sendPiece(Way& way, const Then& then) {
  if (mIsClosed) return;
  if (way.output.empty()) return then();
  const bool sliced = mFault.kind == Fault::FK_Slice && way.passed < mFault.slicedBytes;
  if (way.mustWait && !HasPeerReadAll(way.to->editSocket())) {
    way.timer.expires_after(std::chrono::microseconds(50));
    way.timer.async_wait([self = shared_from_this(), &way, then](const asio::error_code& error) {
      if (!error) self->sendPiece(way, then);
    });
    return;
  }
  way.piece = way.output.substr(0, sliced ? std::max<uint64>(1, mFault.pieceSize) : string::npos);
  way.output.erase(0, way.piece.size());
  way.passed += way.piece.size();
  way.mustWait = sliced;
  way.to->asyncWrite(way.piece, [self = shared_from_this(), &way, then](const asio::error_code& error, size_t) {
    if (error) return self->close(false);
    self->sendPiece(way, then);
  });
}

// The client's socket stays until the client closes too: closed with input unread, it would answer with an RST that
// can overtake what was sent.
void ProxySession::endClient() {
  mIsEnded = true;
  asio::error_code ignored;
  mServer->editSocket().close(ignored);
  mClient->endSending(shared_from_this());
}

void ProxySession::fallSilent() {
  mIsSilent = true;
  mRequest.timer.expires_at(asio::steady_timer::time_point::max());
  mRequest.timer.async_wait([self = shared_from_this()](const asio::error_code&) {});
}

void ProxySession::drop() {
  if (mServer == nullptr || mIsSilent || mIsEnded || mIsClosed) return close(false);
  endClient();
}

void ProxySession::close(bool reset) {
  if (std::exchange(mIsClosed, true)) return;
  asio::error_code ignored;
  tcp::socket& socket = mClient->editSocket();
  if (reset) socket.set_option(asio::socket_base::linger(true, 0), ignored);
  socket.close(ignored);
  mConnecting.close(ignored);
  if (mServer != nullptr) mServer->editSocket().close(ignored);
  mRequest.timer.cancel();
  mReply.timer.cancel();
  mRecords->addClosed();
}

}  // namespace qx::test
