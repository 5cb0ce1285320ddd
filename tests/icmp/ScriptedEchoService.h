#pragma once

#include "netweft/icmp/internal/EchoService.h"
#include "tests/support/Gate.h"

#include <functional>
#include <limits>

namespace qx::test {

/// What a scripted echo does: is refused with an error code, or completes `afterMs` later with so many replies.
struct EchoOutcome {
  uint32 sendError = 0;
  double afterMs = 0;
  uint32 replies = 1;
  impl::EchoReply reply;

  static EchoOutcome Reply(uint32 roundTripMs) { return {0, static_cast<double>(roundTripMs), 1, {0, roundTripMs}}; }
  static EchoOutcome Status(uint32 status) { return {0, 1, 1, {status, 0}}; }
  static EchoOutcome Silence(double afterMs) { return {0, afterMs, 0, {}}; }
  static EchoOutcome SendError(uint32 code) { return {code, 0, 0, {}}; }
  static EchoOutcome Never() { return {0, std::numeric_limits<double>::infinity(), 0, {}}; }
};

struct SentEcho {
  string address;
  uint32 timeToLive = 0;
  uint32 timeoutMs = 0;

  bool operator==(const SentEcho&) const = default;
};

/// What the echoes of a test do and did. Only the thread that drives the service touches it while a batch runs.
struct EchoScript {
  using Answer = std::function<EchoOutcome(const SentEcho& echo)>;

  Answer answer = [](const SentEcho&) { return EchoOutcome::Reply(1); };
  std::function<impl::EchoOpening(const IpAddress& target)> opening;
  std::function<void()> onWait;
  map<uint32, string> errorTexts;

  double nowMs = 0;
  vector<SentEcho> sent;
  vector<uint32> waits;  ///< the limits of the waits
  int openEchoes = 0;

  vector<uint32> getTimesToLive() const;
};

/// Echoes by script, under a clock of their own that a wait moves on to the next completion.
class ScriptedEchoService final : public impl::EchoService {
 public:
  explicit ScriptedEchoService(shared_ptr<EchoScript> script) : mScript(std::move(script)) {}

  impl::EchoOpening open(const IpAddress& target, unique_ptr<impl::Echo>& echo) override;
  void wait(const vector<impl::Echo*>& pending, uint32 limitMs) override;
  string getErrorText(uint32 code) const override;
  double getElapsedMs(const qxHighResTimer& timer) const override;

 private:
  shared_ptr<EchoScript> mScript;
};

}  // namespace qx::test
