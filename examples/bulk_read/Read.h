#pragma once

#include "netweft/netweft.h"

/// What every command works on.
struct Job {
  qx::couch::CouchConnectionParameters server;
  std::string dbName;
  unsigned int threads = 4;
  unsigned int batchSize = 100;
};

/// Reads every document of the database with several threads, and tells how many came, how large they are and how fast.
/// The program's exit status.
int Read(const Job& job);
