// A host of the River with a filter, a mapping, and words for what the log does not tell.
#include "netweft/netweft.h"

#include <csignal>
#include <iostream>

namespace {

using qx::couch::ChangesListener;

// [filter]
// On Worker threads, several at once. What it changes in the document has no effect on what is sent.
bool KeepOutDrafts(qx::qxVariantMapImpl& document, const std::string& indexName) {
  if (document.getString("_id", "") == "the-one-that-breaks-the-mapping") return false;
  return indexName != "articles-public" || document.getString("state", "") != "draft";
}
// [filter]

// [changes]
// On the control thread. Nothing else reports a database that is not there or credentials that are refused.
void TellTrouble(ChangesListener::CallbackMsg message, const ChangesListener::CallbackParam& param, void*) {
  if (message > ChangesListener::CM_FailToStartListening) return;  // the first three are the failures
  std::cerr << param.dbName << ": " << ChangesListener::CallbackMsgToString(message) << ' ' << param.errorMessage
            << '\n';
}
// [changes]

// [define]
qx::couch::IndexDefinition DefineArticles() {
  qx::couch::IndexDefinition index;
  index.dbName = "articles";
  index.indexName = "articles-public";
  index.mapping.editValuePath("properties/title/type", qx::qxVariant(), '/') = "text";
  index.mapping.editValuePath("properties/state/type", qx::qxVariant(), '/') = "keyword";
  index.settings["number_of_shards"] = 1;
  index.applicationVersion = "4";  // raise it, and the index is built anew
  return index;
}
// [define]

}  // namespace

int main() {
  std::signal(SIGPIPE, SIG_IGN);
  qx::initializeNetweft(true, qx::http::HNRP_Whatever, qx::http::PP_NoProxy);
  {
    // [parameters]
    qx::couch::RiverParameters parameters;
    parameters.couch = qx::Url("http://127.0.0.1:5984");
    parameters.es = qx::Url("http://127.0.0.1:9200");
    parameters.maxBatchBytes = 16 << 20;
    parameters.maxDocsPerBatch = 2000;
    parameters.documentFilter = KeepOutDrafts;
    parameters.changesCallback = TellTrouble;
    // [parameters]
    // [run]
    qx::couch::CouchToEsRiverManager river(parameters);
    river.addIndex(DefineArticles());
    qx::uint64 sequence = 0;
    while (std::cin.get() == '\n') {  // each press of Enter
      if (river.getIndexInfo("articles-public", nullptr, &sequence, nullptr)) std::cout << sequence << '\n';
    }
    // [run]
  }
  qx::terminateNetweft();
}
