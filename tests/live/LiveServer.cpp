#include "tests/live/LiveServer.h"

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <stdexcept>

namespace qx::test {

namespace {

constexpr int sStartMs = 120'000;
constexpr int sDeathMs = 20'000;

string MakeFolder() {
  string pattern = (std::filesystem::temp_directory_path() / "netweft-live-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
  // Elasticsearch runs as another user.
  std::filesystem::permissions(pattern, std::filesystem::perms::others_exec | std::filesystem::perms::others_read,
                               std::filesystem::perm_options::add);
  return pattern;
}

}  // namespace

LiveServer::LiveServer(const string& kind, bool keepData, const vector<string>& options)
    : mKind(kind), mOptions(options) {
  if (keepData) mDataFolder = MakeFolder();
  start();
}

LiveServer::~LiveServer() {
  mStarter.reset();
  std::error_code ignored;
  if (!mDataFolder.empty()) std::filesystem::remove_all(mDataFolder, ignored);
}

string LiveServer::getUrl() const { return "http://127.0.0.1:" + std::to_string(mPort); }

void LiveServer::start() {
  vector<string> command = {NETWEFT_SOURCE_DIR "/servers/start", mKind};
  if (mPort != 0) command.insert(command.end(), {"--port", std::to_string(mPort)});
  if (!mDataFolder.empty()) command.insert(command.end(), {"--data", mDataFolder + "/data"});
  command.insert(command.end(), mOptions.begin(), mOptions.end());
  mStarter = std::make_unique<ChildProcess>(command);
  string line;
  int port = 0;
  int pid = 0;
  if (!mStarter->readLine(line, sStartMs) || std::sscanf(line.c_str(), "ready %d %d", &port, &pid) != 2) {
    std::cout << mKind << " cannot be had here: servers/start left with " << mStarter->wait(sDeathMs) << std::endl;
    mPort = 0;
    return;
  }
  mPort = static_cast<uint16>(port);
  mServer = pid;
}

void LiveServer::kill() {
  ::kill(mServer, SIGKILL);
  mStarter->wait(sDeathMs);
}

void LiveServer::restart() {
  mStarter.reset();
  start();
  if (mPort == 0) throw std::runtime_error(mKind + " did not come back");
}

}  // namespace qx::test
