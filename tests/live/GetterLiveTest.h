#pragma once

#include "tests/live/LiveWorld.h"

#include <atomic>
#include <functional>
#include <mutex>

namespace qx::test {

/// Counts what the callbacks of one getter report, id by id.
class ReportBook {
 public:
  struct Entry {
    int reports = 0;
    int result = -1;
    string text;
  };

  void add(const string& id, int result, string text) {
    const std::lock_guard lock(mMutex);
    Entry& entry = mEntries[id];
    ++entry.reports;
    entry.result = result;
    entry.text = std::move(text);
    ++mReports;
  }

  uint64 getReports() const { return mReports; }
  /// Of the ids reported at all.
  uint64 countResult(int result) const {
    return count([&](const Entry& entry) { return entry.result == result; });
  }
  uint64 countReportedTwice() const {
    return count([](const Entry& entry) { return entry.reports != 1; });
  }
  Entry get(const string& id) const {
    const std::lock_guard lock(mMutex);
    const auto found = mEntries.find(id);
    return found == mEntries.end() ? Entry() : found->second;
  }
  /// Every one of `ids` was reported exactly once, and nothing else was.
  bool isExactly(const vector<string>& ids) const {
    const std::lock_guard lock(mMutex);
    if (mEntries.size() != ids.size()) return false;
    for (const string& id : ids) {
      const auto found = mEntries.find(id);
      if (found == mEntries.end() || found->second.reports != 1) return false;
    }
    return true;
  }
  void waitForReports(uint64 wanted) const {
    while (mReports < wanted) qxThread::msleep(1);
  }

 private:
  uint64 count(const std::function<bool(const Entry&)>& predicate) const {
    const std::lock_guard lock(mMutex);
    uint64 found = 0;
    for (const auto& [id, entry] : mEntries) found += predicate(entry) ? 1U : 0U;
    return found;
  }

  mutable std::mutex mMutex;
  map<string, Entry> mEntries;
  std::atomic<uint64> mReports{0};
};

/// The fixture of all live tests of the getters: the servers start once for all of them, and so is the data written.
class GetterLiveTest : public LiveWorld {
 protected:
  static constexpr const char* sMixedDb = "mixed-documents";

  /// The ids of the documents in the database `sMixedDb`, which the first call makes.
  static const vector<string>& mixedIds();

  /// The ids, with seven types, of the documents in an index that the first call makes.
  static const map<string, string>& indexedJobs();

  /// Ids "<stem>0", "<stem>1", ... spread over so many types.
  static map<string, string> makeJobs(const string& stem, uint64 count, uint64 types);

  /// Makes an index of documents with these ids and types: `{"id":...,"type":...,"n":1}`, both mapped as `fieldType`.
  static void writeIndex(const string& index, const map<string, string>& idToType, const string& fieldType = "keyword");
};

}  // namespace qx::test
