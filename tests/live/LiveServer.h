#pragma once

#include "netweft/base/system/qxTypes.h"
#include "tests/live/ChildProcess.h"

namespace qx::test {

/// One of the real servers under servers/, kept by `servers/start`. It leaves no process behind, also when the test
/// dies.
class LiveServer {
 public:
  /// `kind`: "couchdb" or "elasticsearch". With `keepData` a restarted server finds its data again.
  LiveServer(const string& kind, bool keepData, const vector<string>& options = {});
  ~LiveServer();

  /// False when what the server needs cannot be had on this machine; the reason was printed.
  bool isRunning() const noexcept { return mPort != 0; }
  uint16 getPort() const noexcept { return mPort; }
  string getUrl() const;

  /// Ends the server with SIGKILL and waits until it is gone.
  void kill();
  /// Starts it again on its port, with its data if it was to keep them.
  void restart();

 private:
  void start();

  string mKind;
  vector<string> mOptions;
  string mDataFolder;
  unique_ptr<ChildProcess> mStarter;
  uint16 mPort = 0;
  pid_t mServer = -1;
};

}  // namespace qx::test
