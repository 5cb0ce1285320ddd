#pragma once

#include "tests/support/internal/HttpRequestParser.h"
#include "tests/support/internal/ServerRecords.h"
#include "tests/support/internal/ServerStream.h"

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>

#include <array>

namespace qx::test {

/// The life of one connection: it always reads, so that it sees its client go away, and plays one reply at a time. It
/// lives for as long as an operation is under way. All but the constructor runs on the server's thread.
class ServerSession : public std::enable_shared_from_this<ServerSession> {
 public:
  ServerSession(shared_ptr<asio::io_context> context, shared_ptr<ServerRecords> records,
                unique_ptr<ServerStream> stream);

  void start();
  /// Closes at once; with `reset` by an RST. What is under way ends.
  void drop(bool reset);

 private:
  using Step = Reply::Step;

  void onHandshake(const asio::error_code& error);
  void read();
  void onRead(const asio::error_code& error, size_t n);
  void onHttpBytes(std::string_view input);

  void answerNextRequest();
  void play(Reply reply);
  /// Plays the step at `mNextStep`, or ends the reply behind the last one.
  void playNextStep();
  void endReply();

  void send(const string& text);
  void sendOncePeerHasRead();
  void write();
  void waitAtGate(const Gate& gate);
  void pause(Reply::Milliseconds duration);
  void awaitText();
  void endSending();
  void markClosed();

  // The gate may outlive the server, so nothing that a gate holds may keep either alive.
  const shared_ptr<asio::io_context> mContext;
  const shared_ptr<ServerRecords> mRecords;
  const unique_ptr<ServerStream> mStream;
  const uint64 mIndex;
  asio::steady_timer mTimer;

  std::array<char, 65536> mBuffer;
  HttpRequestParser mParser;
  std::deque<Request> mRequests;
  bool mIsHead = false;
  bool mClientClosesAfterReply = false;

  /// A script of the whole connection: its input is text to be awaited, not HTTP.
  bool mIsScript = false;
  string mScriptInput;
  string mAwaitedText;

  bool mIsPlaying = false;
  vector<Step> mSteps;
  size_t mNextStep = 0;
  string mOutput;
  bool mHasSent = false;
  bool mIsClosed = false;
};

}  // namespace qx::test
