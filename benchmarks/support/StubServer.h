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
  /// Gives a whole answer, as from `ComposeAnswer`, to a request's head (without the empty line) and body. An answer
  /// that has no end yet leaves the connection open until the peer closes it. Runs on the connections' threads.
  using WholeAnswer = std::function<string(const string& head, const string& body)>;

  /// Each answer leaves `thinkMs` milliseconds after its request came, with this status.
  StubServer(Answer answer, int thinkMs, int status = 200);
  explicit StubServer(WholeAnswer answer);
  StubServer(const StubServer&) = delete;
  StubServer& operator=(const StubServer&) = delete;
  ~StubServer();

  string getUrl() const { return "http://127.0.0.1:" + std::to_string(mPort); }

 private:
  void accept();
  void serve(int socket);

  const WholeAnswer mAnswer;
  int mListener;
  int mPort;
  std::atomic<bool> mStop{false};
  std::mutex mMutex;
  vector<int> mSockets;
  vector<std::thread> mThreads;
  std::thread mAcceptor;
};

/// An answer with a body of JSON; `headers` are further lines, each with its line end.
string ComposeAnswer(int status, const string& body, const string& headers = {});

/// The texts of the last list of strings in a JSON text without escapes: ids of `{"keys":[...]}`, or of a search.
vector<string> ReadIds(const string& body);

/// A document of about a kilobyte, without its braces.
string DocumentMembers(const string& id);

}  // namespace qx::bench
