#include "tests/icmp/Batch.h"

#include <gtest/gtest.h>

#include <thread>

namespace qx::test {

bool AwaitDone(IcmpHostStatRetriever& retriever, std::chrono::seconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!retriever.isRequestDone()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

Results Measure(IcmpHostStatRetriever& retriever, const Hosts& hosts,
                const IcmpHostStatRetriever::RequestParam& param) {
  EXPECT_TRUE(retriever.requestStatistict(hosts, param));
  EXPECT_TRUE(AwaitDone(retriever));
  Results results;
  EXPECT_TRUE(retriever.finalizeRequest(results));
  return results;
}

Hosts MakeHosts(const vector<string>& names) {
  Hosts hosts;
  for (const string& name : names) hosts.push_back({name, 0});
  return hosts;
}

vector<string> Summarize(const Results& results) {
  vector<string> lines;
  for (const auto& result : results) {
    const string outcome = result.isValid() ? std::to_string(result.hops) : result.errorMessage;
    lines.push_back(result.address.getAddressAsString(false) + ": " + outcome);
  }
  return lines;
}

}  // namespace qx::test
