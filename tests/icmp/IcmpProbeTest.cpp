#include "netweft/icmp/internal/IcmpProbe.h"

#include "tests/icmp/ScriptedEchoService.h"

#include <gtest/gtest.h>

#include <numeric>

namespace qx::test {
namespace {

using namespace impl;

constexpr uint32 sNotMeasured = IcmpHostStatRetriever::sNotMeasured;

class IcmpProbeTest : public testing::Test {
 protected:
  /// Builds a probe and drives it to its end.
  IcmpProbe run(const string& address = "192.0.2.1") {
    IcmpProbe probe = start(address);
    for (int turn = 0; !probe.isFinished() && turn < 1000; ++turn) {
      service.wait({probe.getEcho()}, 10);
      probe.update();
    }
    EXPECT_TRUE(probe.isFinished());
    return probe;
  }

  IcmpProbe start(const string& address = "192.0.2.1") {
    return IcmpProbe(service, {"host", 7}, IpAddress(address, IpAddress::IPT_Invalid), param);
  }

  void answer(EchoScript::Answer outcome) { script->answer = std::move(outcome); }

  /// The first and the last time to live of an unbroken climb.
  static vector<uint32> Climb(uint32 first, uint32 last) {
    vector<uint32> result(last - first + 1);
    std::iota(result.begin(), result.end(), first);
    return result;
  }

  shared_ptr<EchoScript> script = std::make_shared<EchoScript>();
  ScriptedEchoService service{script};
  IcmpHostStatRetriever::RequestParam param;
};

/// As `IcmpProbeTest`, counting hops.
class IcmpProbeHopsTest : public IcmpProbeTest {
 protected:
  IcmpProbeHopsTest() { param.searchHops = true; }

  /// A host so many hops away, behind routers that all answer.
  static EchoScript::Answer HopsAway(uint32 hops) {
    return [hops](const SentEcho& echo) {
      return echo.timeToLive < hops ? EchoOutcome::Status(11013) : EchoOutcome::Reply(5);
    };
  }
};

TEST_F(IcmpProbeTest, TheFirstEchoLeavesAtOnceWithFullRange) {
  param.echoTimeoutMs = 123;
  const IcmpProbe probe = start();
  EXPECT_EQ(script->sent, (vector<SentEcho>{{"192.0.2.1", 64, 123}}));
  EXPECT_FALSE(probe.isFinished());
}

TEST_F(IcmpProbeTest, ASuccessKeepsRoundTripTimeAndRange) {
  answer([](const SentEcho&) { return EchoOutcome::Reply(17); });
  const IcmpProbe probe = run();
  EXPECT_TRUE(probe.isValid());
  EXPECT_EQ(probe.latencyMs, 17U);
  EXPECT_EQ(probe.hops, 64U);
  EXPECT_EQ(probe.errorMessage, "");
}

TEST_F(IcmpProbeTest, TheResultNamesHostPortAndAddress) {
  const IcmpProbe probe = run("2001:db8::1");
  EXPECT_EQ(probe.hostName, "host");
  EXPECT_EQ(probe.port, 7);
  EXPECT_EQ(probe.address.getAddressAsString(false), "2001:db8::1");
}

TEST_F(IcmpProbeTest, NothingHappensBeforeTheCompletion) {
  answer([](const SentEcho&) { return EchoOutcome::Reply(17); });
  IcmpProbe probe = start();
  script->nowMs = 16.9;
  probe.update();
  EXPECT_FALSE(probe.isFinished());
  script->nowMs = 17;
  probe.update();
  EXPECT_TRUE(probe.isFinished());
}

TEST_F(IcmpProbeTest, SilenceAtFullRangeEndsAtOnce) {
  answer([](const SentEcho& echo) { return EchoOutcome::Silence(echo.timeoutMs); });
  const IcmpProbe probe = run();
  EXPECT_EQ(probe.errorMessage, "ICMP Timeout");
  EXPECT_FALSE(probe.isValid());
  EXPECT_EQ(probe.latencyMs, sNotMeasured);
  EXPECT_EQ(probe.hops, sNotMeasured);
  EXPECT_EQ(script->sent.size(), 1U);
}

TEST_F(IcmpProbeTest, AnyOtherStatusEndsWithItsSentence) {
  answer([](const SentEcho&) { return EchoOutcome::Status(11003); });
  const IcmpProbe probe = run();
  EXPECT_EQ(probe.errorMessage, "The destination host was unreachable.");
  EXPECT_FALSE(probe.isValid());
  EXPECT_EQ(probe.hops, sNotMeasured);
  EXPECT_EQ(script->sent.size(), 1U);
}

TEST_F(IcmpProbeTest, AnUnknownStatusEndsWithItsNumber) {
  answer([](const SentEcho&) { return EchoOutcome::Status(12345); });
  EXPECT_EQ(run().errorMessage, "IP error : 12345");
}

TEST_F(IcmpProbeTest, AnExpiryAtFullRangeEndsTheProbe) {
  answer([](const SentEcho&) { return EchoOutcome::Status(11013); });
  EXPECT_EQ(run().errorMessage, "The time to live (TTL) expired in transit.");
  EXPECT_EQ(script->sent.size(), 1U);
}

TEST_F(IcmpProbeTest, OnlyTheNumberOfRepliesTellsSilence) {
  answer([](const SentEcho&) { return EchoOutcome{0, 1, 0, {0, 99}}; });
  EXPECT_EQ(run().errorMessage, "ICMP Timeout");
}

TEST_F(IcmpProbeTest, ARefusedEventIsTold) {
  script->opening = [](const IpAddress&) { return EchoOpening::NoEvent; };
  const IcmpProbe probe = start();
  EXPECT_TRUE(probe.isFinished());
  EXPECT_EQ(probe.errorMessage, "Fail to create Event handle");
  EXPECT_TRUE(script->sent.empty());
}

TEST_F(IcmpProbeTest, ARefusedHandleIsTold) {
  script->opening = [](const IpAddress&) { return EchoOpening::NoHandle; };
  const IcmpProbe probe = start();
  EXPECT_TRUE(probe.isFinished());
  EXPECT_EQ(probe.errorMessage, "Fail to create Icmp handle");
}

TEST_F(IcmpProbeTest, AnAddressOfNoFamilyIsTold) {
  script->opening = [](const IpAddress& target) {
    return target.isValid() ? EchoOpening::Opened : EchoOpening::UnsupportedType;
  };
  const IcmpProbe probe = start("no address");
  EXPECT_TRUE(probe.isFinished());
  EXPECT_EQ(probe.errorMessage, "Unsupported IP type");
}

TEST_F(IcmpProbeTest, ARefusedSendShowsCodeAndText) {
  script->errorTexts[1231] = "The network location cannot be reached.";
  answer([](const SentEcho&) { return EchoOutcome::SendError(1231); });
  const IcmpProbe probe = start();
  EXPECT_TRUE(probe.isFinished());
  EXPECT_EQ(probe.errorMessage, "1231 : The network location cannot be reached.");
}

TEST_F(IcmpProbeTest, ARefusedSendWithoutATextShowsItsCode) {
  answer([](const SentEcho&) { return EchoOutcome::SendError(4711); });
  EXPECT_EQ(start().errorMessage, "Windows Error 4711");
}

TEST_F(IcmpProbeTest, ASendThatLacksBufferSpaceHasItsSentence) {
  script->errorTexts[11001] = "another text";
  answer([](const SentEcho&) { return EchoOutcome::SendError(11001); });
  EXPECT_EQ(start().errorMessage, "The reply buffer was too small.");
}

TEST_F(IcmpProbeTest, OtherStatusNumbersOfASendGoThroughTheSystem) {
  script->errorTexts[11003] = "the system's";
  answer([](const SentEcho&) { return EchoOutcome::SendError(11003); });
  EXPECT_EQ(start().errorMessage, "11003 : the system's");
}

TEST_F(IcmpProbeTest, AProbeGivesItsEchoBack) {
  { const IcmpProbe probe = start(); }
  EXPECT_EQ(script->openEchoes, 0);
}

TEST_F(IcmpProbeHopsTest, TheSearchStartsWithOneHop) {
  answer(HopsAway(1));
  EXPECT_EQ(run().hops, 1U);
  EXPECT_EQ(script->getTimesToLive(), (vector<uint32>{1}));
}

TEST_F(IcmpProbeHopsTest, EachExpiryClimbsOneHop) {
  answer(HopsAway(5));
  const IcmpProbe probe = run();
  EXPECT_EQ(probe.hops, 5U);
  EXPECT_EQ(probe.latencyMs, 5U);
  EXPECT_EQ(script->getTimesToLive(), Climb(1, 5));
}

TEST_F(IcmpProbeHopsTest, AHostSixtyFourHopsAwayIsReached) {
  answer(HopsAway(64));
  EXPECT_EQ(run().hops, 64U);
}

TEST_F(IcmpProbeHopsTest, AHostSeventyHopsAwayExpires) {
  answer(HopsAway(70));
  const IcmpProbe probe = run();
  EXPECT_EQ(probe.errorMessage, "The time to live (TTL) expired in transit.");
  EXPECT_FALSE(probe.isValid());
  EXPECT_EQ(script->getTimesToLive(), Climb(1, 64));
}

TEST_F(IcmpProbeHopsTest, APathThatKeepsAnsweringIsFollowedBeyondTheLimit) {
  param.hopSearchLimitMs = 0;
  answer([](const SentEcho& echo) {
    EchoOutcome outcome = echo.timeToLive < 40 ? EchoOutcome::Status(11013) : EchoOutcome::Reply(5);
    outcome.afterMs = 200;
    return outcome;
  });
  EXPECT_EQ(run().hops, 40U);
}

TEST_F(IcmpProbeHopsTest, ASilentHopCostsOneTimeLimit) {
  answer([](const SentEcho& echo) {
    if (echo.timeToLive == 2) return EchoOutcome::Silence(echo.timeoutMs);
    return echo.timeToLive < 4 ? EchoOutcome::Status(11013) : EchoOutcome::Reply(5);
  });
  EXPECT_EQ(run().hops, 4U);
  EXPECT_EQ(script->getTimesToLive(), Climb(1, 4));
  EXPECT_EQ(script->nowMs, 1 + 250 + 1 + 5);
}

TEST_F(IcmpProbeHopsTest, TwoSilentHopsInARowForceTheLastTry) {
  answer([](const SentEcho& echo) {
    return echo.timeToLive < 64 ? EchoOutcome::Silence(echo.timeoutMs) : EchoOutcome::Reply(9);
  });
  const IcmpProbe probe = run();
  EXPECT_EQ(script->getTimesToLive(), (vector<uint32>{1, 2, 64}));
  EXPECT_EQ(probe.hops, 64U);
  EXPECT_EQ(probe.latencyMs, 9U);
}

TEST_F(IcmpProbeHopsTest, SilenceAtTheLastTryEndsTheProbe) {
  answer([](const SentEcho& echo) { return EchoOutcome::Silence(echo.timeoutMs); });
  EXPECT_EQ(run().errorMessage, "ICMP Timeout");
  EXPECT_EQ(script->getTimesToLive(), (vector<uint32>{1, 2, 64}));
}

TEST_F(IcmpProbeHopsTest, AnExpiryAtTheLastTryEndsTheProbe) {
  answer([](const SentEcho& echo) {
    return echo.timeToLive < 64 ? EchoOutcome::Silence(echo.timeoutMs) : EchoOutcome::Status(11013);
  });
  EXPECT_EQ(run().errorMessage, "The time to live (TTL) expired in transit.");
}

/// The times to live of a host that never answers, its first silence ending at that time.
class IcmpProbeLimitTest : public IcmpProbeHopsTest {
 protected:
  vector<uint32> climbAfterSilenceOf(double ms) {
    answer(
        [ms](const SentEcho& echo) { return echo.timeToLive == 1 ? EchoOutcome::Silence(ms) : EchoOutcome::Reply(1); });
    run();
    return script->getTimesToLive();
  }
};

TEST_F(IcmpProbeLimitTest, JustUnderTheLimitTheSearchGoesOn) {
  EXPECT_EQ(climbAfterSilenceOf(349.9), (vector<uint32>{1, 2}));
}

TEST_F(IcmpProbeLimitTest, AtTheLimitTheSearchGoesOn) { EXPECT_EQ(climbAfterSilenceOf(350), (vector<uint32>{1, 2})); }

TEST_F(IcmpProbeLimitTest, PartsOfAMillisecondDoNotCount) {
  EXPECT_EQ(climbAfterSilenceOf(350.999), (vector<uint32>{1, 2}));
}

TEST_F(IcmpProbeLimitTest, BeyondTheLimitTheLastTryFollows) {
  EXPECT_EQ(climbAfterSilenceOf(351), (vector<uint32>{1, 64}));
}

TEST_F(IcmpProbeLimitTest, ALimitBeyondThirtyOneBitsHolds) {
  param.hopSearchLimitMs = 0xFFFFFFFF;
  EXPECT_EQ(climbAfterSilenceOf(3e9), (vector<uint32>{1, 2}));
}

TEST_F(IcmpProbeHopsTest, SilenceAtSixtyThreeHopsClimbsToTheLast) {
  param.hopSearchLimitMs = 1000000;
  answer([](const SentEcho& echo) { return EchoOutcome::Silence(echo.timeoutMs); });
  EXPECT_EQ(run().errorMessage, "ICMP Timeout");
  EXPECT_EQ(script->getTimesToLive(), Climb(1, 64));
}

TEST_F(IcmpProbeHopsTest, AnErrorOnTheWayEndsTheSearch) {
  answer([](const SentEcho& echo) { return EchoOutcome::Status(echo.timeToLive < 3 ? 11013 : 11002); });
  const IcmpProbe probe = run();
  EXPECT_EQ(probe.errorMessage, "The destination network was unreachable.");
  EXPECT_EQ(probe.hops, sNotMeasured);
}

TEST_F(IcmpProbeHopsTest, ASendRefusedOnTheWayEndsTheSearch) {
  answer([](const SentEcho& echo) {
    return echo.timeToLive < 3 ? EchoOutcome::Status(11013) : EchoOutcome::SendError(5);
  });
  EXPECT_EQ(run().errorMessage, "Windows Error 5");
}

TEST_F(IcmpProbeHopsTest, ASendRefusedAfterSilenceEndsTheSearch) {
  answer(
      [](const SentEcho& echo) { return echo.timeToLive < 2 ? EchoOutcome::Silence(250) : EchoOutcome::SendError(5); });
  EXPECT_EQ(run().errorMessage, "Windows Error 5");
}

TEST_F(IcmpProbeHopsTest, EveryEchoHasTheSameTimeLimit) {
  param.echoTimeoutMs = 77;
  answer(HopsAway(3));
  run();
  for (const SentEcho& echo : script->sent) EXPECT_EQ(echo.timeoutMs, 77U);
}

}  // namespace
}  // namespace qx::test
