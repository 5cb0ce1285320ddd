#pragma once

#include "netweft/base/system/qxTypes.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace qx::test {

/// How many threads of this process bear the name, which a thread gives itself when it starts.
inline uint64 CountThreadsNamed(const string& name) {
  uint64 count = 0;
  std::error_code error;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task", error)) {
    std::ifstream file(task.path() / "comm");
    string found;
    if (std::getline(file, found) && found == name) ++count;
  }
  return count;
}

}  // namespace qx::test
