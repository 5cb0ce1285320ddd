#pragma once

#include "netweft/base/system/qxTypes.h"

#include <sys/types.h>

namespace qx::test {

/// A program that runs beside the test, with its stdin and stdout as pipes; stderr is the test's own. It ends with the
/// object, and with the test's death: its parent-death signal is SIGKILL, and it sees its stdin closed.
class ChildProcess {
 public:
  /// Throws std::runtime_error when the program cannot be started.
  explicit ChildProcess(const vector<string>& command);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  /// Closes stdin, gives the program ten seconds to end, and then kills it.
  ~ChildProcess();

  /// The next line of its stdout, without the line end; false when it ended or `timeoutMs` passed.
  bool readLine(string& out, int timeoutMs);
  void writeLine(const string& line);

  void kill(int signal);
  /// Its exit status, 128 and the signal when one ended it; -1 when it still runs after `timeoutMs`.
  int wait(int timeoutMs);

  pid_t getPid() const noexcept { return mPid; }

 private:
  pid_t mPid = -1;
  int mStdin = -1;
  int mStdout = -1;
  int mStatus = -1;
  string mBuffer;
};

}  // namespace qx::test
