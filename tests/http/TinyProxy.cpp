#include "tests/http/TinyProxy.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qx::test {

namespace {

constexpr const char* kProgram = "/usr/bin/tinyproxy";

sockaddr_in Loopback(uint16 port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

class Socket {
 public:
  Socket() : mDescriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  ~Socket() { ::close(mDescriptor); }

  bool connect(uint16 port) const {
    const sockaddr_in address = Loopback(port);
    return ::connect(mDescriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  }

  uint16 bindAnywhere() const {
    sockaddr_in address = Loopback(0);
    socklen_t size = sizeof address;
    if (::bind(mDescriptor, reinterpret_cast<const sockaddr*>(&address), size) != 0) return 0;
    ::getsockname(mDescriptor, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
  }

 private:
  int mDescriptor;
};

/// tinyproxy takes no port 0. Somebody else may get this one before it does: then it ends, and another is tried.
uint16 FindFreePort() { return Socket().bindAnywhere(); }

bool IsRunning(pid_t process) {
  siginfo_t info{};
  return ::waitid(P_PID, static_cast<id_t>(process), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == 0;
}

}  // namespace

bool TinyProxy::IsInstalled() { return std::filesystem::exists(kProgram); }

TinyProxy::TinyProxy(const string& user, const string& password) {
  for (int attempt = 0; attempt < 10; ++attempt) {
    if (start(user, password)) return;
    stop();
  }
  throw std::runtime_error("tinyproxy does not come up");
}

TinyProxy::~TinyProxy() { stop(); }

bool TinyProxy::start(const string& user, const string& password) {
  mPort = FindFreePort();
  mConfigPath = testing::TempDir() + "netweft-tinyproxy-" + std::to_string(mPort) + ".conf";
  mLogPath = mConfigPath + ".log";
  std::ofstream config(mConfigPath);
  config << "Port " << std::to_string(mPort) << "\nListen 127.0.0.1\nAllow 127.0.0.1\nTimeout 60\nMaxClients 20\n"
         << "LogFile \"" << mLogPath << "\"\nLogLevel Critical\n";
  if (!user.empty()) config << "BasicAuth " << user << " " << password << "\n";
  config.close();
  const char* const arguments[] = {"setpriv", "--pdeathsig",       "KILL", kProgram, "-d",
                                   "-c",      mConfigPath.c_str(), nullptr};
  if (::posix_spawnp(&mProcess, arguments[0], nullptr, nullptr, const_cast<char**>(arguments), environ) != 0) {
    mProcess = -1;
    return false;
  }
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (IsRunning(mProcess) && std::chrono::steady_clock::now() < limit) {
    if (Socket().connect(mPort)) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return false;
}

void TinyProxy::stop() {
  if (mProcess > 0) {
    ::kill(mProcess, SIGKILL);
    ::waitpid(mProcess, nullptr, 0);
  }
  mProcess = -1;
  std::filesystem::remove(mConfigPath);
  std::filesystem::remove(mLogPath);
}

}  // namespace qx::test
