#include "tests/support/internal/ServerSession.h"

#include "tests/support/internal/PeerQueue.h"

#include <asio/post.hpp>

#include <strings.h>

namespace qx::test {

ServerSession::ServerSession(shared_ptr<asio::io_context> context, shared_ptr<ServerRecords> records,
                             unique_ptr<ServerStream> stream)
    : mContext(std::move(context)),
      mRecords(std::move(records)),
      mStream(std::move(stream)),
      mIndex(mRecords->addConnection()),
      mTimer(*mContext) {}

void ServerSession::start() {
  asio::error_code ignored;
  mStream->editSocket().set_option(asio::ip::tcp::no_delay(true), ignored);
  mStream->asyncHandshake(
      [self = shared_from_this()](const asio::error_code& error, size_t) { self->onHandshake(error); });
}

void ServerSession::drop(bool reset) {
  asio::error_code ignored;
  auto& socket = mStream->editSocket();
  if (reset) socket.set_option(asio::socket_base::linger(true, 0), ignored);
  socket.close(ignored);
  mTimer.cancel();
  markClosed();
}

void ServerSession::onHandshake(const asio::error_code& error) {
  if (error) {
    mRecords->addFailedHandshake();
    return drop(false);
  }
  std::optional<Reply> script = mRecords->takeConnectionScript();
  mIsScript = script.has_value();
  read();
  if (mIsScript) play(std::move(*script));
}

void ServerSession::read() {
  mStream->asyncRead(mBuffer.data(), mBuffer.size(),
                     [self = shared_from_this()](const asio::error_code& error, size_t n) { self->onRead(error, n); });
}

void ServerSession::onRead(const asio::error_code& error, size_t n) {
  mRecords->addRawBytes(mIndex, mBuffer.data(), n);
  const std::string_view input(mBuffer.data(), n);
  if (mIsScript) {
    mScriptInput.append(input);
    awaitText();
  } else {
    onHttpBytes(input);
  }
  if (error) return drop(false);
  read();
}

void ServerSession::onHttpBytes(std::string_view input) {
  vector<Request> complete;
  mParser.feed(input, complete);
  for (Request& request : complete) {
    request.connection = mIndex;
    mRecords->addRequest(request);
    mRequests.push_back(std::move(request));
  }
  if (mParser.takeWantsContinue() && complete.empty() && !mIsPlaying) {
    play(Reply::Raw("HTTP/1.1 100 Continue\r\n\r\n"));
  }
  if (!mIsPlaying) answerNextRequest();
}

void ServerSession::answerNextRequest() {
  if (mRequests.empty() || mIsClosed) return;
  const Request request = std::move(mRequests.front());
  mRequests.pop_front();
  mIsHead = request.method == "HEAD";
  mClientClosesAfterReply = strcasecmp(request.getHeader("Connection").c_str(), "close") == 0;
  play(mRecords->chooseReply(request));
}

void ServerSession::play(Reply reply) {
  mSteps = reply.getSteps();
  mNextStep = 0;
  mHasSent = false;
  mIsPlaying = true;
  playNextStep();
}

void ServerSession::playNextStep() {
  if (mIsClosed) return;
  if (mNextStep == mSteps.size()) return endReply();
  const Step& step = mSteps[mNextStep++];
  switch (step.kind) {
    case Reply::SK_Http: return send(mIsHead ? step.text : step.text + step.body);
    case Reply::SK_Send: return send(step.text);
    case Reply::SK_Wait: return waitAtGate(step.gate.front());
    case Reply::SK_Pause: return pause(step.pause);
    case Reply::SK_AwaitText: mAwaitedText = step.text; return awaitText();
    case Reply::SK_Hold: return;
    case Reply::SK_Close: return endSending();
    case Reply::SK_Reset: return drop(true);
  }
}

void ServerSession::endReply() {
  mIsPlaying = false;
  if (mIsScript || mClientClosesAfterReply) return endSending();
  answerNextRequest();
}

void ServerSession::send(const string& text) {
  mOutput = text;
  sendOncePeerHasRead();
}

void ServerSession::sendOncePeerHasRead() {
  if (mIsClosed) return;
  if (!mHasSent || HasPeerReadAll(mStream->editSocket())) return write();
  mTimer.expires_after(std::chrono::microseconds(50));
  mTimer.async_wait([self = shared_from_this()](const asio::error_code& error) {
    if (!error) self->sendOncePeerHasRead();
  });
}

void ServerSession::write() {
  mHasSent = true;
  mStream->asyncWrite(mOutput, [self = shared_from_this()](const asio::error_code& error, size_t) {
    if (error) return self->drop(false);
    self->playNextStep();
  });
}

void ServerSession::waitAtGate(const Gate& gate) {
  gate.arrive([weak = weak_from_this()] {
    const auto self = weak.lock();
    if (self == nullptr) return;
    asio::post(*self->mContext, [weak] {
      if (const auto session = weak.lock()) session->playNextStep();
    });
  });
}

void ServerSession::pause(Reply::Milliseconds duration) {
  mTimer.expires_after(duration);
  mTimer.async_wait([self = shared_from_this()](const asio::error_code& error) {
    if (!error) self->playNextStep();
  });
}

void ServerSession::awaitText() {
  if (mAwaitedText.empty()) return;
  const size_t at = mScriptInput.find(mAwaitedText);
  if (at == string::npos) return;
  mScriptInput.erase(0, at + mAwaitedText.size());
  mAwaitedText.clear();
  playNextStep();
}

// The socket itself stays until the client closes too: closed with input unread, it would answer with an RST that can
// overtake what was sent.
void ServerSession::endSending() {
  mStream->endSending(shared_from_this());
  markClosed();
}

void ServerSession::markClosed() {
  if (std::exchange(mIsClosed, true)) return;
  mRecords->addClosed();
}

}  // namespace qx::test
