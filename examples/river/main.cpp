// The River as a program: keeps Elasticsearch indexes in step with CouchDB databases.
#include "Options.h"
#include "Progress.h"
#include "Servers.h"

#include "netweft/netweft.h"

#include <csignal>
#include <iostream>

namespace {

using qx::couch::ChangesListener;
using qx::couch::CouchToEsRiverManager;

constexpr unsigned long sLookMs = 100;

volatile std::sig_atomic_t stopAsked = 0;

void AskToStop(int) { stopAsked = 1; }

/// Says in plain words what the feeds run into: the library's log does not speak of an unknown database or of refused
/// credentials.
void TellTrouble(ChangesListener::CallbackMsg message, const ChangesListener::CallbackParam& param, void*) {
  switch (message) {
    case ChangesListener::CM_ListenStopedDbMissing:
      std::cerr << "there is no database \"" << param.dbName << "\" any more; trying again" << std::endl;
      break;
    case ChangesListener::CM_ListenStopedDueToError:
    case ChangesListener::CM_FailToStartListening:
      std::cerr << "the change feed of \"" << param.dbName << "\" broke: " << param.errorMessage << "; trying again"
                << std::endl;
      break;
    default: break;
  }
}

bool CheckServers(Servers& servers, const Options& options) {
  std::string error;
  bool good = servers.checkElasticsearch(error);
  for (const Options::Pair& pair : options.pairs) good = good && servers.checkDatabase(pair.dbName, error);
  if (!good) std::cerr << "river: " << error << std::endl;
  return good;
}

void AddIndexes(CouchToEsRiverManager& river, const Options& options) {
  for (const Options::Pair& pair : options.pairs) {
    qx::couch::IndexDefinition definition;
    definition.dbName = pair.dbName;
    definition.indexName = pair.indexName;
    definition.mapping = options.mapping;
    definition.settings = options.settings;
    definition.applicationVersion = options.applicationVersion;
    river.addIndex(definition);
  }
}

/// Adds up how far the indexes are; true when each holds everything that its database held a moment ago.
bool LookAtIndexes(CouchToEsRiverManager& river, Servers& servers, const Options& options, Progress* progress) {
  qx::uint64 done = 0;
  qx::uint64 total = 0;
  bool ready = true;
  for (const Options::Pair& pair : options.pairs) {
    qx::uint64 last = 0;
    qx::uint64 reached = 0;
    std::string descriptor;
    ready &= servers.readUpdateSeq(pair.dbName, last);
    ready &= river.getIndexInfo(pair.indexName, nullptr, &reached, &descriptor) && !descriptor.empty();
    done += reached;
    total += last;
    ready &= reached >= last;
  }
  if (progress != nullptr) progress->show(done, total);
  return ready;
}

int Follow(CouchToEsRiverManager& river, Servers& servers, const Options& options) {
  Progress progress;
  const qx::qxTimer start(true);
  int result = 0;
  while (stopAsked == 0) {
    const bool looking = options.progress || options.untilSynced;
    const bool synced = looking && LookAtIndexes(river, servers, options, options.progress ? &progress : nullptr);
    if (synced && options.untilSynced) break;
    if (options.untilSynced && options.giveUpAfterSec > 0 && start.isElapsedSec(options.giveUpAfterSec)) {
      std::cerr << "river: not in sync after " << options.giveUpAfterSec << " seconds" << std::endl;
      result = 1;
      break;
    }
    qx::qxThread::msleep(sLookMs);
  }
  progress.finish();
  return result;
}

int Run(const Options& options) {
  Servers servers(options.river);
  if (!CheckServers(servers, options)) return 1;
  CouchToEsRiverManager river(options.river);
  AddIndexes(river, options);
  return Follow(river, servers, options);
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  std::string error;
  if (!ParseOptions(argc, argv, options, error)) {
    std::cerr << "river: " << error << "\nusage: " << UsageText();
    return 2;
  }
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGINT, AskToStop);
  std::signal(SIGTERM, AskToStop);
  options.river.changesCallback = TellTrouble;
  if (options.details) qx::qxLog::editPtr()->enableChannel("esriver", true);

  qx::initializeNetweft(true, qx::http::HNRP_Whatever, qx::http::PP_NoProxy);
  const int result = Run(options);
  qx::terminateNetweft();
  return result;
}
