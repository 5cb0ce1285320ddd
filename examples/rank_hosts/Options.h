#pragma once

#include "netweft/netweft.h"

#include <string>
#include <vector>

/// What the command line asks for.
struct Options {
  std::vector<qx::IcmpHostStatRetriever::Host> hosts;
  qx::IcmpHostStatRetriever::RequestParam param;
};

/// False, with the options told on stderr, when the command line is not understood.
bool ParseOptions(int argc, char** argv, Options& options);
