#include "fuzz/LogLineCheck.h"
#include "fuzz/Target.h"
#include "netweft/base/system/qxTypes.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

namespace {

namespace fs = std::filesystem;
using qx::fuzz::Target;

qx::set<fs::path> ListFiles(const fs::path& folder) {
  qx::set<fs::path> files;
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
    if (entry.is_regular_file(error)) files.insert(entry.path());
  }
  return files;
}

qx::string Read(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace

/// fuzz_replay TARGET FOLDER: runs a target with each file of its corpus. A property that is broken ends the process.
int main(int argc, char** argv) {
  const auto target = argc == 3 ? Target::GetChecks().find(argv[1]) : Target::GetChecks().end();
  if (target == Target::GetChecks().end()) {
    std::cerr << "usage: fuzz_replay TARGET FOLDER, where TARGET is one of\n";
    for (const auto& known : Target::GetChecks()) std::cerr << "  " << known.first << "\n";
    return 2;
  }
  const qx::set<fs::path> files = ListFiles(argv[2]);
  if (files.empty()) {
    std::cerr << "no file in " << argv[2] << "\n";
    return 1;
  }
  const qx::fuzz::LogLineCheck log;
  for (const fs::path& file : files) {
    std::cerr << file.filename().string() << "\n";  // the last one printed is the one that breaks
    target->second(Read(file));
  }
  return 0;
}
