#pragma once

#include "netweft/elasticsearch/ESConnectionParameters.h"
#include "tests/river/JsonText.h"
#include "tests/river/RequestScript.h"

#include <mutex>

namespace qx::couch::test {

using qx::test::Reply;
using qx::test::Request;
using qx::test::ScriptedServer;

/// As much of Elasticsearch 6.8 as the River needs: creation, deletion, existence, `_mapping`, `_settings`, `_bulk`
/// (which makes an index that is not there), `_refresh` and the health of a cluster that is always well. It remembers
/// what stood in its indexes and what it was asked. Any thread.
class FakeElasticsearch {
 public:
  struct Index {
    string creationDate;
    string uuid;
    qxVariantMapImpl settings;
    qxVariantMapImpl mapping;
    map<string, string> documents = {};
  };

  FakeElasticsearch();

  elasticsearch::ESConnectionParameters getServer() const;
  const ScriptedServer& getScript() const { return mServer; }
  ScriptedServer& getScript() { return mServer; }

  /// "PUT /things" in the order of arrival, from the start or from the last call of this.
  vector<string> takeRequests();
  /// The body of the last request of that kind, as compact JSON.
  string getBody(const string& request) const;
  Request getLast(const string& request) const;

  /// The answer to the next request of that kind, in place of the usual one, which is then not done.
  void answer(const string& request, Reply reply);
  /// The same for all requests of that kind, until `answerUsually`.
  void answerAlways(const string& request, Reply reply);
  void answerUsually(const string& request);
  /// The next request of that kind is done, and its answer waits for the gate.
  qx::test::Gate hold(const string& request);
  void openGates();

  /// Requests of that kind so far.
  uint64 count(const string& request) const { return CountKind(mServer, request); }
  /// Called on the server's thread before each request is answered.
  void setObserver(std::function<void(const Request&)> observer);

  bool has(const string& name) const;
  Index getIndex(const string& name) const;
  void setIndex(const string& name, Index index);
  void removeIndex(const string& name);
  /// Changes one value of `_meta`.
  void setMeta(const string& name, const string& key, const qxVariant& value);
  void removeMeta(const string& name);
  /// What an index holds, by id; nothing when there is no such index.
  map<string, string> getDocuments(const string& name) const;

 private:
  Reply handle(const Request& request);
  Reply usual(const Request& request);
  Reply handleBulk(const Request& request, const string& name);
  Reply allMappings() const;
  Index& addIndex(const string& name);
  Reply handleIndex(const Request& request, const string& name);
  Reply handleMapping(const Request& request, Index& index, const string& name);
  Reply createIndex(const Request& request, const string& name);

  mutable std::mutex mMutex;
  map<string, Index> mIndexes;
  RequestScript mScript;
  std::function<void(const Request&)> mObserver;
  uint64 mCreations = 0;
  uint64 mTaken = 0;
  ScriptedServer mServer;
};

}  // namespace qx::couch::test
