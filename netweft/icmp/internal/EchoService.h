#pragma once

#include "netweft/addressing/IpAddress.h"
#include "netweft/base/system/qxHighResTimer.h"
#include "netweft/base/system/qxTypes.h"

#include <array>

namespace qx::impl {

/// What every echo carries: the values 0x20 to 0x3F in order.
using EchoPayload = std::array<unsigned char, 32>;
constexpr EchoPayload sEchoPayload = [] {
  EchoPayload payload{};
  unsigned char value = 0x20;
  for (unsigned char& byte : payload) byte = value++;
  return payload;
}();

struct EchoOptions {
  uint32 timeToLive = 64;
  uint32 timeoutMs = 250;
};

struct EchoReply {
  uint32 status = 0;  ///< an `IcmpStatus`, or whatever else the platform says
  uint32 roundTripMs = 0;
};

/// The echoes to one address, one at a time; never fragmented. The destructor abandons what is under way. One thread.
class Echo {
 public:
  virtual ~Echo() = default;

  /// Starts an echo; the one before must have completed. 0 when it is under way, else the system's error code.
  virtual uint32 send(const EchoOptions& options) = 0;

  /// True, once per echo, when it has completed: by a reply, an error that the network reported, or its time limit.
  virtual bool takeCompletion() = 0;

  /// After a completion: the number of replies, and the first of them; 0 means that the time limit has passed.
  virtual uint32 parseReplies(EchoReply& reply) = 0;
};

enum class EchoOpening {
  Opened,
  NoEvent,          ///< the system refused what signals a completion
  NoHandle,         ///< the system refused what sends and receives
  UnsupportedType,  ///< the address is of no family that can be probed
};

/// The platform's ICMP echoes. One thread at a time. Throws nothing but std::bad_alloc.
class EchoService {
 public:
  virtual ~EchoService() = default;

  /// Gives `echo` a value if, and only if, the result is `Opened`. Echoes must not outlive the service.
  virtual EchoOpening open(const IpAddress& target, unique_ptr<Echo>& echo) = 0;

  /// Sleeps until one of these echoes, all of this service, may have completed, or until the limit. May wake for
  /// nothing.
  virtual void wait(const vector<Echo*>& pending, uint32 limitMs) = 0;

  /// The system's English text for an error code of `Echo::send`, in UTF-8, without a line end; empty when there is
  /// none.
  virtual string getErrorText(uint32 code) const = 0;

  /// What a probe's stopwatch reads, in milliseconds. Tests play another clock.
  virtual double getElapsedMs(const qxHighResTimer& timer) const { return timer.getElapsedTimeInMilliSec(); }
};

/// The one of this platform.
unique_ptr<EchoService> CreateEchoService();

}  // namespace qx::impl
