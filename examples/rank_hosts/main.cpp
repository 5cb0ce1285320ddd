// Ranks hosts by latency and, if asked, by hop count. Needs the right to send ICMP echoes: see docs/icmp.md.
#include "Options.h"
#include "Table.h"

#include <algorithm>
#include <chrono>
#include <iostream>
#include <thread>

int main(int argc, char** argv) {
  Options options;
  if (!ParseOptions(argc, argv, options)) return 2;
  qx::initializeNetweft(true, qx::http::HNRP_Whatever, qx::http::PP_NoProxy);
  std::vector<qx::IcmpHostStatRetriever::Result> results;
  {
    qx::IcmpHostStatRetriever retriever;
    retriever.requestStatistict(options.hosts, options.param);
    while (!retriever.isRequestDone()) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    retriever.finalizeRequest(results);
  }
  PrintTable(std::cout, results, options.param.searchHops);
  qx::terminateNetweft();
  return std::any_of(results.begin(), results.end(), [](const auto& result) { return result.isValid(); }) ? 0 : 1;
}
