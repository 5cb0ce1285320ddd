#include "Read.h"

#include <atomic>
#include <iostream>

namespace {

using Getter = qx::couch::MultiThreadedDocumentGetter;

/// The callbacks run on several threads at once: what they share is atomic.
struct Totals {
  std::atomic<qx::uint64> found{0};
  std::atomic<qx::uint64> failed{0};
  std::atomic<qx::uint64> bytes{0};
};

bool KeepId(const std::string& id, qx::qxVariant&, qx::qxVariant&, void* ids) {
  static_cast<std::vector<std::string>*>(ids)->push_back(id);
  return true;
}

void OnDocument(Getter&, const std::string& id, qx::qxVariantMapImpl& doc, const std::string& error,
                Getter::DocumentResult result, void* userData, void*) {
  Totals& totals = *static_cast<Totals*>(userData);
  if (result != Getter::DR_Found) {
    ++totals.failed;
    std::cerr << id + ": " + error + "\n";
    return;
  }
  ++totals.found;
  totals.bytes += qx::qxVariant(std::move(doc)).toString().size();
}

}  // namespace

int Read(const Job& job) {
  std::vector<std::string> ids;
  qx::http::HttpConnection connection(false);
  if (!qx::couch::FetchCouchDbView(connection, job.server, job.dbName, "", "", nullptr, KeepId, &ids, -1, 0, nullptr)) {
    return 1;
  }

  const qx::qxTimer timer(true);
  Totals totals;
  Getter getter(job.server, job.dbName, OnDocument, &totals, nullptr, nullptr, job.threads, job.batchSize,
                Getter::DC_Document);
  getter.addJobs(ids);
  getter.waitUntilAllJobsAreDone(nullptr);

  const qx::int64 elapsedMs = std::max<qx::int64>(timer.getElapsedMs(), 1);
  std::cout << totals.found << " documents, " << totals.failed << " failed, " << totals.bytes << " bytes in "
            << qx::FormatDuration(elapsedMs, 1, true) << " (" << static_cast<qx::int64>(totals.found) * 1000 / elapsedMs
            << " docs/sec)" << std::endl;
  return totals.failed == 0 ? 0 : 1;
}
