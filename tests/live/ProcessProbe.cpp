#include "tests/live/ProcessProbe.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace qx::test {

namespace {

uint64 CountEntries(const std::filesystem::path& folder) {
  std::error_code error;
  uint64 count = 0;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    ++count;
  }
  return count;
}

/// The number behind `name` in a file of lines such as "VmRSS:    1234 kB".
uint64 NumberBehind(const std::filesystem::path& path, const string& name) {
  std::ifstream file(path);
  for (string line; std::getline(file, line);) {
    if (line.rfind(name, 0) == 0) return std::stoull(line.substr(name.size()));
  }
  return 0;
}

uint64 CpuTicks(const std::filesystem::path& path) {
  std::ifstream file(path);
  string line;
  std::getline(file, line);
  // The second field is the program's name in parentheses, which may hold anything; user and system time are the
  // fourteenth and the fifteenth.
  std::istringstream fields(line.substr(line.rfind(')') + 1));
  string field;
  for (int i = 3; i < 14; ++i) fields >> field;
  uint64 user = 0;
  uint64 system = 0;
  fields >> user >> system;
  return user + system;
}

}  // namespace

ProcessProbe::ProcessProbe(pid_t pid) {
  const std::filesystem::path folder = "/proc/" + std::to_string(pid);
  descriptors = CountEntries(folder / "fd");
  threads = CountEntries(folder / "task");
  residentKb = NumberBehind(folder / "status", "VmRSS:");
  cpuMs = CpuTicks(folder / "stat") * 1000 / static_cast<uint64>(sysconf(_SC_CLK_TCK));
}

}  // namespace qx::test
