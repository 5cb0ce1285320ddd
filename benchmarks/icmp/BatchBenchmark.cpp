// A batch of loopback addresses, beside fping on the same list. Needs the right to send ICMP echoes, and fping for the
// comparison.
#include "netweft/icmp/IcmpHostStatRetriever.h"

#include <benchmark/benchmark.h>

#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

namespace {

using qx::IcmpHostStatRetriever;

std::vector<std::string> MakeAddresses(long count) {
  std::vector<std::string> addresses;
  for (long i = 0; i < count; ++i) {
    addresses.push_back("127.0." + std::to_string(i / 250) + "." + std::to_string(i % 250 + 1));
  }
  return addresses;
}

void BM_Retriever(benchmark::State& state) {
  std::vector<IcmpHostStatRetriever::Host> hosts;
  for (const std::string& address : MakeAddresses(state.range(0))) hosts.push_back({address, 0});
  IcmpHostStatRetriever retriever;
  std::vector<IcmpHostStatRetriever::Result> results;
  for (auto _ : state) {
    retriever.requestStatistict(hosts, {});
    while (!retriever.isRequestDone()) std::this_thread::sleep_for(std::chrono::microseconds(50));
    retriever.finalizeRequest(results);
    for (const auto& result : results) {
      if (!result.isValid()) return state.SkipWithError(result.errorMessage.c_str());
    }
  }
}
BENCHMARK(BM_Retriever)->Arg(1)->Arg(100)->Arg(500)->UseRealTime()->Unit(benchmark::kMillisecond);

/// The addresses in a file, as fping reads them.
class AddressFile {
 public:
  explicit AddressFile(long count) {
    const int fd = mkstemp(mPath.data());
    for (const std::string& address : MakeAddresses(count)) dprintf(fd, "%s\n", address.c_str());
    close(fd);
  }
  AddressFile(const AddressFile&) = delete;
  AddressFile& operator=(const AddressFile&) = delete;
  ~AddressFile() { unlink(mPath.c_str()); }

  const std::string& getPath() const { return mPath; }

 private:
  std::string mPath = "/tmp/netweft-addresses-XXXXXX";
};

/// The whole process counts, since that is what a host would start; BM_FpingStart tells what starting it costs.
void RunFping(benchmark::State& state, const std::string& arguments) {
  if (std::system("command -v fping >/dev/null") != 0) return state.SkipWithError("there is no fping");
  const std::string command = "fping " + arguments + " >/dev/null 2>&1";
  for (auto _ : state) {
    if (std::system(command.c_str()) != 0) return state.SkipWithError("fping failed");
  }
}

void BM_Fping(benchmark::State& state) {
  const AddressFile addresses(state.range(0));
  RunFping(state, "-q -c 1 -f " + addresses.getPath());
}
BENCHMARK(BM_Fping)->Arg(1)->Arg(100)->Arg(500)->UseRealTime()->Unit(benchmark::kMillisecond);

/// fping waits a millisecond between two addresses unless told otherwise.
void BM_FpingWithoutPauses(benchmark::State& state) {
  const AddressFile addresses(state.range(0));
  RunFping(state, "-q -c 1 -i 0 -f " + addresses.getPath());
}
BENCHMARK(BM_FpingWithoutPauses)->Arg(1)->Arg(100)->Arg(500)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_FpingStart(benchmark::State& state) { RunFping(state, "-v"); }
BENCHMARK(BM_FpingStart)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
