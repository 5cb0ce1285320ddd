#pragma once

#include "tests/support/ScriptedServer.h"

#include <condition_variable>
#include <deque>
#include <mutex>

namespace qx::test {

/// What the server's thread and the tests share: what is to be played, and what was seen. Any thread.
class ServerRecords {
 public:
  using Milliseconds = ScriptedServer::Milliseconds;

  struct Counts {
    uint64 requests = 0;
    uint64 accepted = 0;
    uint64 closed = 0;
    uint64 failedHandshakes = 0;

    uint64 getOpen() const { return accepted - closed; }
  };

  void queue(Reply reply);
  void queueConnection(Reply script);
  void setHandler(ScriptedServer::Handler handler);

  /// The index of the new connection.
  uint64 addConnection();
  std::optional<Reply> takeConnectionScript();
  void addRawBytes(uint64 connection, const char* data, uint64 n);
  void addRequest(const Request& request);
  void addClosed();
  void addFailedHandshake();
  /// Calls the handler, when it comes to that, without the lock.
  Reply chooseReply(const Request& request);

  vector<Request> getRequests() const;
  Request getRequest(uint64 index) const;
  string getRawBytes(uint64 connection) const;
  Counts getCounts() const;

  template <class Predicate>
  bool wait(Milliseconds timeout, Predicate&& isReached) const {
    std::unique_lock lock(mMutex);
    return mChanged.wait_for(lock, timeout, [&] { return isReached(mCounts); });
  }
  bool waitForRawBytes(uint64 connection, const string& text, Milliseconds timeout) const;

 private:
  mutable std::mutex mMutex;
  mutable std::condition_variable mChanged;
  std::deque<Reply> mReplies;
  std::deque<Reply> mConnectionScripts;
  ScriptedServer::Handler mHandler;
  vector<Request> mRequests;
  vector<string> mRawBytes;
  Counts mCounts;
};

}  // namespace qx::test
