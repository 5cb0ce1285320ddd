#include "netweft/netweft.h"

#include <iostream>

// Batches of a thousand documents; false when there are no more.
bool MakeBatch(int number, std::string& batch) {
  qx::qxVariantMapImpl body;
  qx::qxVariantListImpl& docs = body["docs"].editList();
  for (int i = 0; i < 1000; ++i) {
    qx::qxVariantMapImpl doc;
    doc["_id"] = "doc-" + std::to_string(number * 1000 + i);
    doc["number"] = i;
    docs.push_back(doc);
  }
  qx::json::Json2Variant::Convert(body, batch, false);
  return number < 20;
}

int main() {
  qx::initializeNetweft(true, qx::http::HNRP_Whatever, qx::http::PP_NoProxy);
  bool isPosted = false;
  {
    const qx::couch::CouchConnectionParameters server(qx::Url("http://127.0.0.1:5984"));
    qx::couch::MultiThreadedDocumentUploader uploader(server, "packages", 4);
    std::string batch;
    for (int number = 0; MakeBatch(number, batch); ++number) {
      if (!uploader.sendBatch(batch)) break;  // an earlier post has failed, and the log says why
    }
    isPosted = uploader.waitForEnd(nullptr);  // before the destructor, which drops a batch that still waits
  }
  std::cout << (isPosted ? "posted" : "not all was posted") << std::endl;
  qx::terminateNetweft();
  return isPosted ? 0 : 1;
}
