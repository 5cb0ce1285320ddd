#include "Options.h"

#include <cstdlib>
#include <iostream>

namespace {

bool Complain() {
  std::cerr << "usage: rank_hosts [--hops] [--timeout MS] [--hop-limit MS] HOST...\n"
               "  --hops           counts the hops to each host, which takes longer\n"
               "  --timeout MS     the time limit of one echo (250)\n"
               "  --hop-limit MS   how long silent hops are searched (350)\n";
  return false;
}

bool ParseMilliseconds(const char* text, qx::uint32& out) {
  char* end = nullptr;
  const long value = text != nullptr ? std::strtol(text, &end, 10) : 0;
  if (value <= 0 || *end != '\0') return false;
  out = static_cast<qx::uint32>(value);
  return true;
}

}  // namespace

bool ParseOptions(int argc, char** argv, Options& options) {
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    // argv ends in a null pointer, so a missing value is seen as one.
    if (argument == "--hops") {
      options.param.searchHops = true;
    } else if (argument == "--timeout") {
      if (!ParseMilliseconds(argv[++i], options.param.echoTimeoutMs)) return Complain();
    } else if (argument == "--hop-limit") {
      if (!ParseMilliseconds(argv[++i], options.param.hopSearchLimitMs)) return Complain();
    } else if (argument.starts_with("-")) {
      return Complain();
    } else {
      options.hosts.push_back({argument, 0});
    }
  }
  return !options.hosts.empty() || Complain();
}
