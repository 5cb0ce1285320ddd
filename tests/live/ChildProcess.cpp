#include "tests/live/ChildProcess.h"

#include "netweft/base/system/qxThread.h"
#include "netweft/base/system/qxTimer.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace qx::test {

namespace {

constexpr int sGraceMs = 10'000;
constexpr unsigned long sPollMs = 5;

struct Pipe {
  Pipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    read = ends[0];
    write = ends[1];
  }
  int read;
  int write;
};

[[noreturn]] void Become(const vector<char*>& arguments, int in, int out) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  ::dup2(in, STDIN_FILENO);
  ::dup2(out, STDOUT_FILENO);
  ::signal(SIGPIPE, SIG_DFL);
  ::execvp(arguments.front(), arguments.data());
  ::_exit(127);
}

}  // namespace

ChildProcess::ChildProcess(const vector<string>& command) {
  vector<char*> arguments;
  for (const string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  const Pipe in;
  const Pipe out;
  mPid = ::fork();
  if (mPid == 0) Become(arguments, in.read, out.write);
  ::close(in.read);
  ::close(out.write);
  mStdin = in.write;
  mStdout = out.read;
  if (mPid < 0) throw std::runtime_error("no process");
}

ChildProcess::~ChildProcess() {
  ::close(mStdin);
  if (wait(sGraceMs) == -1) {
    kill(SIGKILL);
    wait(sGraceMs);
  }
  ::close(mStdout);
}

bool ChildProcess::readLine(string& out, int timeoutMs) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  for (;;) {
    if (const size_t end = mBuffer.find('\n'); end != string::npos) {
      out = mBuffer.substr(0, end);
      mBuffer.erase(0, end + 1);
      return true;
    }
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    pollfd descriptor{mStdout, POLLIN, 0};
    if (left.count() <= 0 || ::poll(&descriptor, 1, static_cast<int>(left.count())) <= 0) return false;
    std::array<char, 4096> bytes{};
    const ssize_t count = ::read(mStdout, bytes.data(), bytes.size());
    if (count <= 0) return false;
    mBuffer.append(bytes.data(), static_cast<size_t>(count));
  }
}

void ChildProcess::writeLine(const string& line) {
  const string text = line + "\n";
  if (::write(mStdin, text.data(), text.size()) < 0) return;
}

void ChildProcess::kill(int signal) {
  if (mStatus == -1) ::kill(mPid, signal);
}

int ChildProcess::wait(int timeoutMs) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  while (mStatus == -1) {
    int status = 0;
    if (::waitpid(mPid, &status, WNOHANG) == mPid) {
      mStatus = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    } else if (std::chrono::steady_clock::now() >= deadline) {
      return -1;
    } else {
      qxThread::msleep(sPollMs);
    }
  }
  return mStatus;
}

}  // namespace qx::test
