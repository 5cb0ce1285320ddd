#include "netweft/netweft.h"

#include <iostream>

using Getter = qx::couch::MultiThreadedDocumentGetter;

// What one thread counts for itself, without a lock.
struct Tally {
  int found = 0;
  int unknown = 0;
};

void MakeTally(Getter&, void*, void*& threadData) { threadData = new Tally; }

void DropTally(Getter&, void*, void*& threadData) {
  Tally* tally = static_cast<Tally*>(threadData);
  std::cout << std::to_string(tally->found) + " found, " + std::to_string(tally->unknown) + " unknown\n";
  delete tally;
}

void OnDocument(Getter& getter, const std::string& id, qx::qxVariantMapImpl& doc, const std::string& error,
                Getter::DocumentResult result, void*, void* threadData) {
  Tally& tally = *static_cast<Tally*>(threadData);
  switch (result) {
    case Getter::DR_Found:  // a deleted document comes here too, empty
      tally.found += doc.empty() ? 0 : 1;
      break;
    case Getter::DR_DocumentError:  // the server's word for this one id: "not_found"
      ++tally.unknown;
      break;
    case Getter::DR_RequestFailed:  // the whole batch; nothing is tried again unless it is added again
      std::cerr << id + ": " + error + "\n";
      getter.cancel();
      break;
  }
}

int main() {
  qx::initializeNetweft(true, qx::http::HNRP_Whatever, qx::http::PP_NoProxy);
  bool whole = false;
  {
    const qx::couch::CouchConnectionParameters server(qx::Url("http://127.0.0.1:5984"));
    Getter getter(server, "packages", OnDocument, nullptr, MakeTally, DropTally, 4, 100, Getter::DC_Document);
    getter.addJobs({"bash", "coreutils", "no such package"});
    whole = getter.waitUntilAllJobsAreDone(nullptr);
  }
  qx::terminateNetweft();
  return whole ? 0 : 1;
}
