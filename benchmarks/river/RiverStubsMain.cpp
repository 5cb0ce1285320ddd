// Serves a database of so many documents and an Elasticsearch that throws away what it gets, until its input ends;
// prints both addresses first.
//   river_stubs DOCUMENTS
#include "benchmarks/river/StubCouch.h"
#include "benchmarks/river/StubElasticsearch.h"

#include <iostream>

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const qx::bench::StubCouch couch(std::stoull(argv[1]));
  const qx::bench::StubElasticsearch elasticsearch;
  std::cout << couch.getUrl() << ' ' << elasticsearch.getUrl() << std::endl;
  std::cin.get();
}
