#pragma once

#include "netweft/base/system/qxVariant.h"

#include <functional>
#include <random>

namespace qx::test {

/// The leaves of one document's tree, as the server tells them.
struct DocumentLeaves {
  string winner;             ///< revision; empty when the document is deleted
  map<string, string> live;  ///< content as JSON, without "_id" and "_rev", by revision
  set<string> deleted;       ///< revisions

  bool operator==(const DocumentLeaves&) const = default;

  /// The "text" of every live leaf, sorted.
  vector<string> getTexts() const;
};

/// Random trees of revisions: branches that fork anywhere, of any length, some of them deleted.
class ConflictTrees {
 public:
  explicit ConflictTrees(unsigned seed) : mRandom(seed) {}

  /// The leaves of one document as entries for `_bulk_docs` with "new_edits" false. `kind` goes into each.
  string make(const string& id, const string& kind);

  /// A GET, with the answer's text; an empty one when there was none.
  using Get = std::function<string(const string& pathAndQuery)>;
  static map<string, DocumentLeaves> Read(const vector<string>& ids, const Get& get);

  uint64 below(uint64 bound) { return std::uniform_int_distribution<uint64>(0, bound - 1)(mRandom); }

 private:
  /// Hashes from the root on.
  using Path = vector<string>;

  string hash();
  string entry(const string& id, const string& kind, const Path& path, bool isDeleted);

  std::mt19937 mRandom;
};

/// The number in front of a revision.
uint64 RevisionNumber(const string& revision);

}  // namespace qx::test
