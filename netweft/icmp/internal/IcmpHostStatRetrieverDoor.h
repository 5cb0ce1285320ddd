#pragma once

#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxMutexLocker.h"
#include "netweft/icmp/IcmpHostStatRetriever.h"
#include "netweft/icmp/internal/EchoService.h"

namespace qx::impl {

/// Builds a retriever on echoes of the caller's choice, so that its decisions can be tested on any machine.
class IcmpHostStatRetrieverDoor {
 public:
  static unique_ptr<IcmpHostStatRetriever> Create(unique_ptr<EchoService> echoes) {
    return unique_ptr<IcmpHostStatRetriever>(new IcmpHostStatRetriever(std::move(echoes)));
  }

  /// What the next request starts from.
  static IcmpHostStatRetriever::RequestParam GetPendingParam(IcmpHostStatRetriever& retriever) {
    const qxMutexLocker lock(retriever.mMutex, true);
    return retriever.mPendingParam;
  }

  /// Any thread.
  static bool IsStopping(const IcmpHostStatRetriever& retriever) { return ReadFlag(retriever.mStopping); }

  /// Wakes the thread for nothing, as the system may.
  static void Wake(IcmpHostStatRetriever& retriever) { retriever.mWake.wakeAll(); }
};

}  // namespace qx::impl
