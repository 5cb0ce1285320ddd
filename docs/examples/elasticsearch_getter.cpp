#include "netweft/netweft.h"

#include <iostream>

using Getter = qx::elasticsearch::MultiThreadedDocumentGetter;

void OnDocument(Getter&, const std::string& id, const std::string& source, const std::string& error,
                Getter::DocumentResult result, void*, void*) {
  if (result == Getter::DR_Found) {
    std::cout << id + " " + source + "\n";
  } else {
    std::cerr << id + ": " + error + "\n";
  }
}

int main() {
  qx::initializeNetweft(true, qx::http::HNRP_Whatever, qx::http::PP_NoProxy);
  qx::uint64 bytes = 0;
  {
    const qx::elasticsearch::ESConnectionParameters es(qx::Url("http://127.0.0.1:9200"));
    qx::qxVariantListImpl fields;
    fields.push_back("name");
    Getter getter(es, OnDocument, nullptr, nullptr, nullptr, 4, 500, fields);
    getter.addJobs({{"p-1", "person"}, {"p-2", "person"}});
    getter.addJob("x-1", "");  // of any type
    getter.waitUntilAllJobsAreDone(nullptr, &bytes);
  }
  std::cout << bytes << " bytes" << std::endl;
  qx::terminateNetweft();
}
