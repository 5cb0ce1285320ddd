// Prints the closest of the hosts that it is given.
#include "netweft/netweft.h"

#include <iostream>

namespace {

void PrintClosest(const std::vector<qx::IcmpHostStatRetriever::Host>& hosts) {
  // [closest]
  qx::IcmpHostStatRetriever retriever;
  retriever.requestStatistict(hosts, {});
  while (!retriever.isRequestDone()) qx::qxThread::msleep(5);
  std::vector<qx::IcmpHostStatRetriever::Result> results;
  retriever.finalizeRequest(results);
  for (const auto& best : qx::IcmpHostStatRetriever::GetBestResults(results)) {
    std::cout << best.hostName << ' ' << best.address.getAddressAsString(false) << ' ' << best.errorMessage << '\n';
  }
  // [closest]
}

}  // namespace

int main(int argc, char** argv) {
  qx::initializeNetweft(true, qx::http::HNRP_Whatever, qx::http::PP_NoProxy);
  std::vector<qx::IcmpHostStatRetriever::Host> hosts;
  for (int i = 1; i < argc; ++i) hosts.push_back({argv[i], 443});
  PrintClosest(hosts);
  qx::terminateNetweft();
}
