#include "Update.h"

#include <atomic>
#include <iostream>

namespace {

/// Runs on several threads at once.
bool Mark(qx::qxVariantMapImpl& doc, void* userData, void*) {
  if (doc.empty()) return false;  // could not be read, or is deleted by now: a true would create a document
  if (qx::qxStringUtils::StartsWith(doc.getString("_id", ""), "_design/") || doc.contains("marked")) return false;
  doc["marked"] = true;
  ++*static_cast<std::atomic<qx::uint64>*>(userData);
  return true;
}

/// How many documents were marked; false when not all could be listed.
bool MarkAll(const Job& job, std::atomic<qx::uint64>& marked) {
  qx::couch::MultiThreadedDocumentUpdater updater(job.server, job.dbName, Mark, nullptr, nullptr, &marked, job.threads,
                                                  job.batchSize);
  const bool isListed = updater.applyOnEntireDb(nullptr);
  updater.waitForAllUpdate(nullptr);
  return isListed;
}

}  // namespace

int Update(const Job& job) {
  // What another writer changed meanwhile was refused, silently: so again, until there is nothing left to mark.
  constexpr int sRounds = 10;
  for (int round = 0; round < sRounds; ++round) {
    std::atomic<qx::uint64> marked{0};
    if (!MarkAll(job, marked)) return 1;
    std::cout << marked << " documents marked" << std::endl;
    if (marked == 0) return 0;
  }
  return 1;
}
