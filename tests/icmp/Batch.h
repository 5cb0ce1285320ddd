#pragma once

#include "netweft/icmp/IcmpHostStatRetriever.h"

#include <chrono>

namespace qx::test {

using Hosts = vector<IcmpHostStatRetriever::Host>;
using Results = vector<IcmpHostStatRetriever::Result>;

/// Waits for the end of the request in progress; false when that took too long.
[[nodiscard]] bool AwaitDone(IcmpHostStatRetriever& retriever, std::chrono::seconds limit = std::chrono::seconds(60));

/// Requests, awaits and collects.
Results Measure(IcmpHostStatRetriever& retriever, const Hosts& hosts,
                const IcmpHostStatRetriever::RequestParam& param = {});

/// One host for each name.
Hosts MakeHosts(const vector<string>& names);

/// "address: message", or "address: hops" of a measure.
vector<string> Summarize(const Results& results);

}  // namespace qx::test
