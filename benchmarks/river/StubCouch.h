#pragma once

#include "benchmarks/support/StubServer.h"

namespace qx::bench {

/// As much of CouchDB as the River needs, as fast as can be: any database has so many documents of 1 KiB each, which
/// were written in the order of their numbers. Its feeds stay open and bring nothing more.
class StubCouch {
 public:
  explicit StubCouch(uint64 documents);

  string getUrl() const { return mServer.getUrl(); }

  /// Of the documents 1 and up, which are also their sequences.
  static string IdOf(uint64 number);

 private:
  string answer(const string& head) const;
  string feedSince(uint64 since) const;

  const uint64 mDocuments;
  StubServer mServer;
};

}  // namespace qx::bench
