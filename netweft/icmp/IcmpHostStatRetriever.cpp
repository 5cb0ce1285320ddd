#include "netweft/icmp/IcmpHostStatRetriever.h"

#include "netweft/addressing/ResolveHostName.h"
#include "netweft/base/system/internal/RequireThread.h"
#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxMutexLocker.h"
#include "netweft/icmp/internal/EchoService.h"
#include "netweft/icmp/internal/IcmpProbe.h"

#include <algorithm>
#include <compare>
#include <exception>
#include <tuple>
#include <utility>

namespace qx {

using impl::Echo;
using impl::EchoService;
using impl::IcmpProbe;

namespace {

/// How often a batch looks at the stop flag when nothing else wakes it.
constexpr uint32 sPollMs = 10;

/// How much slower than the fastest address another may be and still win by its hop count.
constexpr uint32 sLatencyBandMs = 15;

using Host = IcmpHostStatRetriever::Host;
using Result = IcmpHostStatRetriever::Result;

struct Target {
  Host host;
  IpAddress address;
};

/// A result for each name without an address, a target for each address of the others.
vector<Target> Resolve(const vector<Host>& hosts, const bool& stopping, vector<Result>& unresolved) {
  vector<Target> targets;
  vector<IpAddress> addresses;
  for (const Host& host : hosts) {
    if (ReadFlag(stopping)) break;
    if (!ResolveHostName(host.name, host.port, addresses)) {
      Result& result = unresolved.emplace_back();
      result.errorMessage = "Could not resolve host name";
      result.hostName = host.name;
      result.port = host.port;
      continue;
    }
    for (const IpAddress& address : addresses) targets.push_back({host, address});
  }
  return targets;
}

using Probes = vector<unique_ptr<IcmpProbe>>;

/// Drives all probes until each is finished, or until the flag.
void Poll(EchoService& echoes, const Probes& probes, const bool& stopping) {
  vector<Echo*> pending;
  for (;;) {
    pending.clear();
    for (const auto& probe : probes) {
      if (probe->isFinished()) continue;
      probe->update();
      if (!probe->isFinished()) pending.push_back(probe->getEcho());
    }
    if (pending.empty() || ReadFlag(stopping)) return;
    echoes.wait(pending, sPollMs);
  }
}

}  // namespace

struct NETWEFT_HIDDEN IcmpHostStatRetriever::Batch {
  vector<Host> hosts;
  RequestParam param;
  Probes probes;
  vector<Result> results;
};

IcmpHostStatRetriever::IcmpHostStatRetriever() : IcmpHostStatRetriever(impl::CreateEchoService()) {}

IcmpHostStatRetriever::IcmpHostStatRetriever(unique_ptr<EchoService> echoes) : mEchoes(std::move(echoes)) {
  startThread(nullptr);
  impl::RequireThread(impl::IsThreadRunning(*this));
}

IcmpHostStatRetriever::~IcmpHostStatRetriever() {
  {
    const qxMutexLocker lock(mMutex, true);
    StoreFlag(mStopping, true);
    mWake.wakeAll();
  }
  waitThread(sNoLimit);
}

bool IcmpHostStatRetriever::requestStatistict(const vector<Host>& hosts, const RequestParam& param) {
  const qxMutexLocker lock(mMutex, true);
  if (!mRequestDone) return false;
  mPendingHosts = hosts;
  mPendingParam = param;
  mResults.clear();
  mRequestDone = false;
  mWake.wakeAll();
  return true;
}

bool IcmpHostStatRetriever::isRequestDone() {
  const qxMutexLocker lock(mMutex, true);
  return mRequestDone;
}

bool IcmpHostStatRetriever::finalizeRequest(vector<Result>& out) {
  out.clear();
  const qxMutexLocker lock(mMutex, true);
  if (!mRequestDone) return false;
  out.swap(mResults);
  return true;
}

bool IcmpHostStatRetriever::pushResult(const vector<Result>& in) {
  const qxMutexLocker lock(mMutex, true);
  if (!mRequestDone) return false;
  mPendingHosts.clear();
  mResults = in;
  return true;
}

void IcmpHostStatRetriever::run() {
  SetCurrentThreadName("netweft-icmp");
  for (;;) {
    Batch batch;
    if (!waitForRequest(batch)) return;
    try {
      measure(batch);
    } catch (const std::exception&) {
      // Memory has run out. The thread must live on, or the request would stay in progress for good.
      batch.results.clear();
    }
    const qxMutexLocker lock(mMutex, true);
    if (mStopping) return;
    mResults.swap(batch.results);
    mRequestDone = true;
  }
}

/// False when the thread is to end.
bool IcmpHostStatRetriever::waitForRequest(Batch& batch) {
  const qxMutexLocker lock(mMutex, true);
  while (!mStopping && mRequestDone) mWake.wait(&mMutex, qxWaitCondition::sNoLimit);
  batch.hosts = std::exchange(mPendingHosts, {});
  batch.param = std::exchange(mPendingParam, {});
  return !mStopping;
}

void IcmpHostStatRetriever::measure(Batch& batch) {
  for (const Target& target : Resolve(batch.hosts, mStopping, batch.results)) {
    if (ReadFlag(mStopping)) return;
    batch.probes.push_back(std::make_unique<IcmpProbe>(*mEchoes, target.host, target.address, batch.param));
  }
  Poll(*mEchoes, batch.probes, mStopping);
  for (const auto& probe : batch.probes) batch.results.push_back(std::move(*probe));
}

vector<IcmpHostStatRetriever::Result> IcmpHostStatRetriever::GetBestResults(const vector<Result>& all) {
  uint32 bestLatency = sNotMeasured;
  for (const Result& result : all) bestLatency = std::min(bestLatency, result.latencyMs);

  vector<Result> best;
  uint32 fewestHops = sNotMeasured;
  if (bestLatency == sNotMeasured) {
    best = all;
  } else {
    for (const Result& result : all) {
      if (result.latencyMs > bestLatency + sLatencyBandMs) continue;
      fewestHops = std::min(fewestHops, result.hops);
      best.push_back(result);
    }
  }

  std::sort(best.begin(), best.end(), [](const Result& left, const Result& right) {
    const auto order = std::tie(left.hops, left.latencyMs) <=> std::tie(right.hops, right.latencyMs);
    return std::is_neq(order) ? std::is_lt(order)
                              : left.address.getAddressAsString(false) < right.address.getAddressAsString(false);
  });
  const auto end =
      std::find_if(best.begin(), best.end(), [&](const Result& result) { return result.hops != fewestHops; });
  best.erase(end, best.end());
  return best;
}

}  // namespace qx
