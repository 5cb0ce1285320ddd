#pragma once

#include "netweft/elasticsearch/ESConnectionParameters.h"
#include "netweft/http/HttpConnection.h"
#include "netweft/river/internal/IndexEntry.h"
#include "netweft/river/internal/JsonExchange.h"

namespace qx::couch {

/// Brings one index into the wanted shape; see `ensureIndexes`. Lives for one call; all references are the caller's.
class IndexOpening {
 public:
  IndexOpening(http::HttpConnection& connection, const elasticsearch::ESConnectionParameters& es, IndexEntry& entry,
               map<string, string>& descriptors, const bool* cancelFlag);

  /// True when the index stands as wanted; `startSeq` is then lowered to what it holds.
  bool run(uint64& startSeq);

 private:
  enum class Verdict {
    Failed,    ///< the call ends; the reason is in the log
    Keep,      ///< the index stands as wanted, perhaps after it was widened
    Recreate,  ///< drop it, if it is there, and build it anew
  };

  Verdict inspect();
  Verdict inspectCreation();
  Verdict inspectStamps();
  Verdict inspectMapping();
  Verdict widen(qxVariantMapImpl delta);

  bool recreate();
  bool create(const qxVariantMapImpl& body);
  bool storeCreationDescriptor(const qxVariantMapImpl& meta);
  bool readSequence(uint64& startSeq);

  JsonReply get(const string& operation);
  JsonReply putMapping(const qxVariantMapImpl& mapping);

  /// The error line of a failed request, unless the failure is our own cancel. False.
  bool fail(const char* what) const;
  const string& getDbName() const { return mDefinition.dbName; }

  http::HttpConnection& mConnection;
  const elasticsearch::ESConnectionParameters& mEs;
  IndexEntry& mEntry;
  const IndexDefinition& mDefinition;
  const string& mName;
  map<string, string>& mDescriptors;
  const bool* mCancelFlag;
  /// The `_meta` that was found; empty when there was none.
  qxVariantMapImpl mMeta;
};

}  // namespace qx::couch
