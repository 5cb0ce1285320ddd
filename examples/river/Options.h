#pragma once

#include "netweft/netweft.h"

#include <string>
#include <vector>

/// What the command line asks for.
struct Options {
  struct Pair {
    std::string dbName;
    std::string indexName;
  };

  qx::couch::CouchToEsRiverManager::Parameters river;
  std::vector<Pair> pairs;
  /// Wanted mapping and settings of every index; empty when no file was named.
  qx::qxVariantMapImpl mapping;
  qx::qxVariantMapImpl settings;
  std::string applicationVersion;
  bool untilSynced = false;
  bool progress = false;
  bool details = false;
  /// Seconds after which a run with `untilSynced` that is not in sync fails; 0: never.
  long giveUpAfterSec = 0;
};

/// The text behind "usage: ".
const char* UsageText();

/// False, with what is wrong in plain words, when the command line makes no sense.
bool ParseOptions(int argc, char** argv, Options& out, std::string& error);
