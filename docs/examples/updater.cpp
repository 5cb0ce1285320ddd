#include "netweft/netweft.h"

#include <atomic>
#include <iostream>

// On several threads at once. An EMPTY map is a document that could not be read: true would create one with a new name.
bool Rename(qx::qxVariantMapImpl& doc, void* userData, void*) {
  const auto found = doc.find("colour");
  if (doc.empty() || found == doc.end()) return false;
  doc["color"] = found->second;
  doc.remove("colour");
  ++*static_cast<std::atomic<int>*>(userData);
  return true;
}

int main() {
  qx::initializeNetweft(true, qx::http::HNRP_Whatever, qx::http::PP_NoProxy);
  std::atomic<int> renamed{1};
  for (int round = 0; round < 10 && renamed > 0; ++round) {  // what others changed meanwhile was refused: once more
    renamed = 0;
    const qx::couch::CouchConnectionParameters server(qx::Url("http://127.0.0.1:5984"));
    qx::couch::MultiThreadedDocumentUpdater updater(server, "packages", Rename, nullptr, nullptr, &renamed, 4, 100);
    if (!updater.applyOnEntireDb(nullptr)) break;
    updater.waitForAllUpdate(nullptr);
    std::cout << renamed << " renamed" << std::endl;
  }
  qx::terminateNetweft();
  return renamed == 0 ? 0 : 1;
}
