#pragma once

#include "netweft/base/system/qxTypes.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>

namespace qx::bench {

/// An HTTP server on loopback with a thread for each connection, that answers requests as fast as it can, or as
/// slowly as a server thinks. The peer of both sides of a comparison.
class StubServer {
 public:
  /// Gives the body of the answer to a request's body. Runs on the connections' threads.
  using Answer = std::function<string(const string& body)>;

  /// Each answer leaves `thinkMs` milliseconds after its request came, with this status.
  StubServer(Answer answer, int thinkMs, int status = 200);
  StubServer(const StubServer&) = delete;
  StubServer& operator=(const StubServer&) = delete;
  ~StubServer();

  string getUrl() const { return "http://127.0.0.1:" + std::to_string(mPort); }

 private:
  void accept();
  void serve(int socket);

  const Answer mAnswer;
  const int mThinkMs;
  const string mStatusLine;
  int mListener;
  int mPort;
  std::atomic<bool> mStop{false};
  std::mutex mMutex;
  vector<int> mSockets;
  vector<std::thread> mThreads;
  std::thread mAcceptor;
};

/// The texts of the last list of strings in a JSON text without escapes: ids of `{"keys":[...]}`, or of a search.
vector<string> ReadIds(const string& body);

/// A document of about a kilobyte, without its braces.
string DocumentMembers(const string& id);

}  // namespace qx::bench
