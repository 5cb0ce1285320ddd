#pragma once

#include "benchmarks/support/StubServer.h"

namespace qx::bench {

/// As much of Elasticsearch as the River and the bulk helper need. What is indexed is received and thrown away.
class StubElasticsearch {
 public:
  StubElasticsearch();

  string getUrl() const { return mServer.getUrl(); }

 private:
  string answer(const string& head, const string& body);
  string answerIndex(const string& method, const string& name, const string& mapping);
  string answerMapping(const string& method, const string& name, const string& mapping);

  std::mutex mMutex;
  /// By index: what was put last, which holds the whole `_meta`.
  map<string, string> mMappings;
  StubServer mServer;
};

}  // namespace qx::bench
