#include "tests/support/internal/ServerRecords.h"

#include <exception>

namespace qx::test {

void ServerRecords::queue(Reply reply) {
  const std::lock_guard lock(mMutex);
  mReplies.push_back(std::move(reply));
}

void ServerRecords::queueConnection(Reply script) {
  const std::lock_guard lock(mMutex);
  mConnectionScripts.push_back(std::move(script));
}

void ServerRecords::setHandler(ScriptedServer::Handler handler) {
  const std::lock_guard lock(mMutex);
  mHandler = std::move(handler);
}

uint64 ServerRecords::addConnection() {
  const std::lock_guard lock(mMutex);
  mRawBytes.emplace_back();
  mChanged.notify_all();
  return mCounts.accepted++;
}

std::optional<Reply> ServerRecords::takeConnectionScript() {
  const std::lock_guard lock(mMutex);
  if (mConnectionScripts.empty()) return std::nullopt;
  Reply script = std::move(mConnectionScripts.front());
  mConnectionScripts.pop_front();
  return script;
}

void ServerRecords::addRawBytes(uint64 connection, const char* data, uint64 n) {
  const std::lock_guard lock(mMutex);
  mRawBytes[connection].append(data, n);
  mChanged.notify_all();
}

void ServerRecords::addRequest(const Request& request) {
  const std::lock_guard lock(mMutex);
  mRequests.push_back(request);
  ++mCounts.requests;
  mChanged.notify_all();
}

void ServerRecords::addClosed() {
  const std::lock_guard lock(mMutex);
  ++mCounts.closed;
  mChanged.notify_all();
}

void ServerRecords::addFailedHandshake() {
  const std::lock_guard lock(mMutex);
  ++mCounts.failedHandshakes;
  mChanged.notify_all();
}

Reply ServerRecords::chooseReply(const Request& request) {
  ScriptedServer::Handler handler;
  {
    const std::lock_guard lock(mMutex);
    if (!mReplies.empty()) {
      Reply reply = std::move(mReplies.front());
      mReplies.pop_front();
      return reply;
    }
    handler = mHandler;
  }
  if (!handler) return Reply::Http(500, "the test has no reply for " + request.line);
  try {
    return handler(request);
  } catch (const std::exception& error) {
    return Reply::Http(500, string("the test's handler threw: ") + error.what());
  }
}

vector<Request> ServerRecords::getRequests() const {
  const std::lock_guard lock(mMutex);
  return mRequests;
}

Request ServerRecords::getRequest(uint64 index) const {
  const std::lock_guard lock(mMutex);
  return index < mRequests.size() ? mRequests[index] : Request();
}

string ServerRecords::getRawBytes(uint64 connection) const {
  const std::lock_guard lock(mMutex);
  return connection < mRawBytes.size() ? mRawBytes[connection] : string();
}

ServerRecords::Counts ServerRecords::getCounts() const {
  const std::lock_guard lock(mMutex);
  return mCounts;
}

bool ServerRecords::waitForRawBytes(uint64 connection, const string& text, Milliseconds timeout) const {
  return wait(timeout, [&](const Counts&) {
    return connection < mRawBytes.size() && mRawBytes[connection].find(text) != string::npos;
  });
}

}  // namespace qx::test
