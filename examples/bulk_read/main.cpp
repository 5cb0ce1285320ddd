// Reads all documents of a CouchDB database with several threads, or marks each of them:
//   bulk_read read http://127.0.0.1:5984/packages 4 100
//   bulk_read update http://127.0.0.1:5984/packages 4 100
#include "Read.h"
#include "Update.h"

#include <csignal>
#include <cstdlib>
#include <iostream>

namespace {

int TellUsage() {
  std::cerr << "usage: bulk_read read|update DATABASE_URL [THREADS [BATCH_SIZE]]" << std::endl;
  return 2;
}

unsigned int ToCount(const char* text) {
  const unsigned long count = std::strtoul(text, nullptr, 10);
  return count > 0 && count < 100'000 ? static_cast<unsigned int>(count) : 1;
}

int Run(const std::string& command, const Job& job) {
  if (command == "read") return Read(job);
  if (command == "update") return Update(job);
  return TellUsage();
}

}  // namespace

int main(int argc, char** argv) {
  Job job;
  if (argc < 3 || !qx::couch::CouchConnectionParameters::BuildFromDbUrl(&job.server, &job.dbName, argv[2]) ||
      job.dbName.empty()) {
    return TellUsage();
  }
  if (argc > 3) job.threads = ToCount(argv[3]);
  if (argc > 4) job.batchSize = ToCount(argv[4]);

  std::signal(SIGPIPE, SIG_IGN);  // before any thread starts: libcurl cannot be trusted to do it for several at once
  qx::initializeNetweft(true, qx::http::HNRP_Whatever, qx::http::PP_NoProxy);
  const int status = Run(argv[1], job);
  qx::terminateNetweft();
  return status;
}
