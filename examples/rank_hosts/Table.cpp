#include "Table.h"

#include <algorithm>
#include <iomanip>
#include <string>

namespace {

using Result = qx::IcmpHostStatRetriever::Result;

/// True when `result` is among the best: measured, and its host and address found there.
bool IsBest(const Result& result, const std::vector<Result>& best) {
  return result.isValid() && std::any_of(best.begin(), best.end(), [&](const Result& other) {
           return other.hostName == result.hostName && other.address == result.address &&
                  other.latencyMs == result.latencyMs && other.hops == result.hops;
         });
}

template <class Text>
int Widest(const std::vector<Result>& results, int atLeast, Text text) {
  for (const Result& result : results) atLeast = std::max(atLeast, static_cast<int>(text(result).size()));
  return atLeast;
}

}  // namespace

void PrintTable(std::ostream& out, const std::vector<Result>& results, bool withHops) {
  const std::vector<Result> best = qx::IcmpHostStatRetriever::GetBestResults(results);
  const auto host = [](const Result& result) { return result.hostName; };
  const auto address = [](const Result& result) { return result.address.getAddressAsString(false); };
  const int hostWidth = Widest(results, 4, host);
  const int addressWidth = Widest(results, 7, address);

  out << std::left << "  " << std::setw(hostWidth) << "host"
      << "  " << std::setw(addressWidth) << "address"
      << "  latency" << (withHops ? "  hops" : "") << '\n';
  for (const Result& result : results) {
    out << (IsBest(result, best) ? "* " : "  ") << std::left << std::setw(hostWidth) << host(result) << "  "
        << std::setw(addressWidth) << address(result) << "  ";
    if (!result.isValid()) {
      out << result.errorMessage << '\n';
      continue;
    }
    out << std::right << std::setw(4) << result.latencyMs << " ms";
    if (withHops) out << std::setw(6) << result.hops;
    out << '\n';
  }
}
