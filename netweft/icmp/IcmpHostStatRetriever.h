#pragma once

#include "netweft/addressing/IpAddress.h"
#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxMutex.h"
#include "netweft/base/system/qxThread.h"
#include "netweft/base/system/qxTypes.h"
#include "netweft/base/system/qxWaitCondition.h"

namespace qx {

namespace impl {
class EchoService;
class IcmpHostStatRetrieverDoor;
}  // namespace impl

/// Answers which of some hosts is closest: resolves each name to all its addresses, sends an ICMP echo to every address
/// at once, and tells for each the round trip time and, if asked, the hop count. `GetBestResults` then picks.
///
/// Post a request with `requestStatistict`, poll `isRequestDone`, collect with `finalizeRequest`. One request runs at
/// a time; a batch takes about as long as its slowest address, and before that as long as the resolver takes for all
/// names, one after the other and without a limit of its own.
///
/// Threads: one of its own, from construction to destruction; it sleeps between requests. Every call may come from any
/// thread and returns at once, also while names are being resolved. Let one thread drive a request: `finalizeRequest`
/// hands the results to whoever comes first.
///
/// Failures: nothing throws and nothing is logged here (the resolver's reason for a name goes to the log's unnamed
/// channel). Each failure stays with its own address, in `Result::errorMessage`. A batch that runs out of memory ends
/// without results.
///
/// Rights: Linux wants either a group within `net.ipv4.ping_group_range` or CAP_NET_RAW; without both every result says
/// "Fail to create Icmp handle". Each address takes one descriptor while its batch runs. Windows wants none.
class NETWEFT_EXPORT IcmpHostStatRetriever : public qxThread {
 public:
  /// In `Result::latencyMs` and `Result::hops`: not measured.
  static constexpr uint32 sNotMeasured = 0x7FFFFFFF;

  /// One host of a request.
  struct Host {
    string name;      ///< a name, or an address written as text
    uint16 port = 0;  ///< no part in the measure: handed to the resolver and back in the result

    /// By name and port.
    bool operator==(const Host&) const = default;
  };

  /// The limits of a request, and what is asked for.
  struct RequestParam {
    /// The time limit of one echo, in milliseconds.
    uint32 echoTimeoutMs = 250;
    /// Milliseconds. An address whose search for hops has run for longer, and then gets no answer at a hop count, makes
    /// one last try at full range instead of the next hop count.
    uint32 hopSearchLimitMs = 350;
    /// True: echoes start with a time to live of 1 and climb until the host answers, which counts the hops. False: one
    /// echo with a time to live of 64.
    bool searchHops = false;
  };

  /// One address of a host; or a host whose name has none, with an invalid `address`.
  struct Result {
    string errorMessage;              ///< why there is no measure; empty when there is one
    string hostName;                  ///< as requested
    uint16 port = 0;                  ///< as requested
    IpAddress address;                ///< the address probed
    uint32 latencyMs = sNotMeasured;  ///< round trip time of the successful echo, in whole milliseconds, cut
    uint32 hops = sNotMeasured;       ///< its time to live: the hop count under `searchHops`, else 64

    /// There is a measure.
    bool isValid() const noexcept { return latencyMs != sNotMeasured; }
  };

  /// Starts the thread. Throws std::system_error when the system gives none.
  IcmpHostStatRetriever();
  IcmpHostStatRetriever(const IcmpHostStatRetriever&) = delete;
  IcmpHostStatRetriever& operator=(const IcmpHostStatRetriever&) = delete;
  /// Stops and joins the thread. A request in progress is abandoned within 10 milliseconds, a name that is being
  /// resolved within the time that the resolver takes for it.
  ~IcmpHostStatRetriever() override;

  /// Posts a request and drops the results at hand. False, with nothing changed, while one is in progress.
  bool requestStatistict(const vector<Host>& hosts, const RequestParam& param);

  /// True when no request is in progress.
  bool isRequestDone();

  /// Empties `out`, whatever follows. True when no request is in progress: `out` takes the results, and none stay
  /// behind. First come the names without an address, then the addresses in the order of the hosts and, for each, of
  /// the resolver.
  bool finalizeRequest(vector<Result>& out);

  /// Places results of the caller's own, to be collected by `finalizeRequest`. False, with nothing changed, while a
  /// request is in progress.
  bool pushResult(const vector<Result>& in);

  /// The fastest addresses: of those within 15 ms of the lowest latency (that included), the ones with the fewest hops,
  /// by rising latency, then by address text. When nothing answered, everything comes back by address text, each with
  /// its message. Any thread.
  static vector<Result> GetBestResults(const vector<Result>& all);

 protected:
  void run() override;

 private:
  friend class impl::IcmpHostStatRetrieverDoor;

  struct Batch;

  explicit IcmpHostStatRetriever(unique_ptr<impl::EchoService> echoes);

  bool waitForRequest(Batch& batch);
  void measure(Batch& batch);

  qxMutex mMutex;
  qxWaitCondition mWake;
  RequestParam mPendingParam NETWEFT_GUARDED_BY(mMutex);
  vector<Host> mPendingHosts NETWEFT_GUARDED_BY(mMutex);
  vector<Result> mResults NETWEFT_GUARDED_BY(mMutex);
  bool mRequestDone NETWEFT_GUARDED_BY(mMutex) = true;
  /// Written with mMutex held. A running batch polls it without.
  bool mStopping = false;
  // The thread's alone.
  unique_ptr<impl::EchoService> mEchoes;
};

}  // namespace qx
