#include "netweft/icmp/IcmpHostStatRetriever.h"

#include "netweft/icmp/internal/IcmpHostStatRetrieverDoor.h"
#include "tests/icmp/Batch.h"
#include "tests/icmp/HostTable.h"
#include "tests/icmp/ScriptedEchoService.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <new>
#include <thread>

namespace qx::test {
namespace {

using impl::EchoOpening;
using impl::IcmpHostStatRetrieverDoor;
using RequestParam = IcmpHostStatRetriever::RequestParam;
using Result = IcmpHostStatRetriever::Result;

class IcmpHostStatRetrieverTest : public testing::Test {
 protected:
  IcmpHostStatRetrieverTest() {
    table.add("one", {"192.0.2.1"});
    table.add("two", {"192.0.2.2"});
    table.add("both", {"2001:db8::7", "192.0.2.7"});
    table.add("nowhere", {});
  }

  ~IcmpHostStatRetrieverTest() override {
    held.open();
    retriever.reset();
  }

  /// From here on echoes never complete.
  void hangEchoes() {
    script->answer = [](const SentEcho&) { return EchoOutcome::Never(); };
  }

  /// Look-ups of the table's names stop at the gate.
  void holdLookUps() {
    table.setOnLookUp([gate = held](const string&) {
      std::atomic<bool> open = false;
      gate.arrive([&open] {
        open = true;
        open.notify_all();
      });
      open.wait(false);
    });
  }

  Results measure(const Hosts& hosts, const RequestParam& param = {}) { return Measure(*retriever, hosts, param); }

  static Result Pushed(const string& name) {
    Result result;
    result.hostName = name;
    return result;
  }

  HostTable table;
  Gate held;
  shared_ptr<EchoScript> script = std::make_shared<EchoScript>();
  unique_ptr<IcmpHostStatRetriever> retriever =
      IcmpHostStatRetrieverDoor::Create(std::make_unique<ScriptedEchoService>(script));
};

TEST(IcmpHostStatRetrieverRecordsTest, ARequestHasTheseDefaults) {
  const RequestParam param;
  EXPECT_EQ(param.echoTimeoutMs, 250U);
  EXPECT_EQ(param.hopSearchLimitMs, 350U);
  EXPECT_FALSE(param.searchHops);
}

TEST(IcmpHostStatRetrieverRecordsTest, AResultStartsWithoutAMeasure) {
  const Result result;
  EXPECT_EQ(result.errorMessage, "");
  EXPECT_EQ(result.hostName, "");
  EXPECT_EQ(result.port, 0);
  EXPECT_FALSE(result.address.isValid());
  EXPECT_EQ(result.latencyMs, 0x7FFFFFFFU);
  EXPECT_EQ(result.hops, 0x7FFFFFFFU);
  EXPECT_FALSE(result.isValid());
}

TEST(IcmpHostStatRetrieverRecordsTest, TheLatencyAloneMakesAResultValid) {
  Result result;
  result.hops = 3;
  EXPECT_FALSE(result.isValid());
  result.latencyMs = 0;
  EXPECT_TRUE(result.isValid());
}

TEST(IcmpHostStatRetrieverRecordsTest, HostsAreEqualInNameAndPort) {
  using Host = IcmpHostStatRetriever::Host;
  EXPECT_TRUE((Host{"a", 1}) == (Host{"a", 1}));
  EXPECT_FALSE((Host{"a", 1}) == (Host{"a", 2}));
  EXPECT_FALSE((Host{"a", 1}) == (Host{"b", 1}));
}

TEST_F(IcmpHostStatRetrieverTest, ItStartsIdleWithoutResults) {
  EXPECT_TRUE(retriever->isRequestDone());
  Results results(1);
  EXPECT_TRUE(retriever->finalizeRequest(results));
  EXPECT_TRUE(results.empty());
}

TEST_F(IcmpHostStatRetrieverTest, AnEmptyHostListIsDoneWithoutResults) {
  EXPECT_TRUE(measure({}).empty());
  EXPECT_TRUE(script->sent.empty());
  EXPECT_TRUE(script->waits.empty());
}

TEST_F(IcmpHostStatRetrieverTest, AMeasureCarriesHostPortAndAddress) {
  script->answer = [](const SentEcho&) { return EchoOutcome::Reply(21); };
  const Results results = measure({{"one", 443}});
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0].hostName, "one");
  EXPECT_EQ(results[0].port, 443);
  EXPECT_EQ(results[0].address.getAddressAsString(true), "192.0.2.1:443");
  EXPECT_EQ(results[0].latencyMs, 21U);
  EXPECT_EQ(results[0].hops, 64U);
  EXPECT_EQ(results[0].errorMessage, "");
}

TEST_F(IcmpHostStatRetrieverTest, TheRequestsParametersReachTheEchoes) {
  script->answer = [](const SentEcho& echo) {
    return echo.timeToLive == 1 ? EchoOutcome::Silence(120) : EchoOutcome::Reply(1);
  };
  measure({{"one", 0}}, {111, 100, true});
  EXPECT_EQ(script->sent, (vector<SentEcho>{{"192.0.2.1", 1, 111}, {"192.0.2.1", 64, 111}}));
}

TEST_F(IcmpHostStatRetrieverTest, AfterABatchThePendingParametersAreTheDefaults) {
  measure({{"one", 0}}, {111, 222, true});
  const RequestParam param = IcmpHostStatRetrieverDoor::GetPendingParam(*retriever);
  EXPECT_EQ(param.echoTimeoutMs, 250U);
  EXPECT_EQ(param.hopSearchLimitMs, 350U);
  EXPECT_FALSE(param.searchHops);
}

TEST_F(IcmpHostStatRetrieverTest, ANameWithoutAddressIsTold) {
  const Results results = measure({{"nowhere", 80}});
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0].errorMessage, "Could not resolve host name");
  EXPECT_EQ(results[0].hostName, "nowhere");
  EXPECT_EQ(results[0].port, 80);
  EXPECT_FALSE(results[0].address.isValid());
  EXPECT_FALSE(results[0].isValid());
}

TEST_F(IcmpHostStatRetrieverTest, AnEmptyNameIsToldToo) {
  const Results results = measure({{"", 80}});
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0].errorMessage, "Could not resolve host name");
}

TEST_F(IcmpHostStatRetrieverTest, EveryAddressOfAHostIsMeasuredInTheResolversOrder) {
  EXPECT_EQ(Summarize(measure({{"both", 0}})), (vector<string>{"2001:db8::7: 64", "192.0.2.7: 64"}));
}

TEST_F(IcmpHostStatRetrieverTest, UnresolvedNamesComeFirstThenAddressesInOrder) {
  // The later the address, the sooner its reply.
  script->answer = [delay = 50.0](const SentEcho&) mutable { return EchoOutcome::Silence(delay -= 10); };
  table.add("gone", {});
  const Results results = measure(MakeHosts({"one", "nowhere", "both", "gone", "two"}));
  vector<string> names;
  for (const Result& result : results) names.push_back(result.hostName);
  EXPECT_EQ(names, (vector<string>{"nowhere", "gone", "one", "both", "both", "two"}));
}

TEST_F(IcmpHostStatRetrieverTest, AHostNamedTwiceIsMeasuredTwice) {
  EXPECT_EQ(measure(MakeHosts({"one", "one"})).size(), 2U);
  EXPECT_EQ(script->sent.size(), 2U);
}

TEST_F(IcmpHostStatRetrieverTest, AllFirstEchoesLeaveBeforeAnyWait) {
  vector<uint64> sentAtWait;
  script->onWait = [&, raw = script.get()] { sentAtWait.push_back(raw->sent.size()); };
  measure(MakeHosts({"one", "both", "two"}));
  ASSERT_FALSE(sentAtWait.empty());
  EXPECT_EQ(sentAtWait.front(), 4U);
}

TEST_F(IcmpHostStatRetrieverTest, ABatchTakesAsLongAsItsSlowestAddress) {
  vector<string> names;
  for (int i = 0; i < 500; ++i) names.push_back("10.0." + std::to_string(i / 250) + "." + std::to_string(i % 250 + 1));
  script->answer = [delay = 0.0](const SentEcho&) mutable { return EchoOutcome::Silence(++delay); };
  EXPECT_EQ(measure(MakeHosts(names)).size(), 500U);
  EXPECT_EQ(script->nowMs, 500);
}

TEST_F(IcmpHostStatRetrieverTest, WaitsArePacedAtTenMilliseconds) {
  measure(MakeHosts({"one", "two"}));
  ASSERT_FALSE(script->waits.empty());
  EXPECT_TRUE(std::all_of(script->waits.begin(), script->waits.end(), [](uint32 ms) { return ms == 10; }));
}

TEST_F(IcmpHostStatRetrieverTest, AProbeThatEndsAtItsStartIsNotWaitedFor) {
  script->opening = [](const IpAddress&) { return EchoOpening::NoHandle; };
  const Results results = measure(MakeHosts({"one", "two"}));
  EXPECT_EQ(Summarize(results),
            (vector<string>{"192.0.2.1: Fail to create Icmp handle", "192.0.2.2: Fail to create Icmp handle"}));
  EXPECT_TRUE(script->waits.empty());
}

TEST_F(IcmpHostStatRetrieverTest, OneAddressFailsWhileAnotherAnswers) {
  script->answer = [](const SentEcho& echo) {
    return echo.address == "192.0.2.1" ? EchoOutcome::Status(11003) : EchoOutcome::Reply(2);
  };
  EXPECT_EQ(Summarize(measure(MakeHosts({"one", "two"}))),
            (vector<string>{"192.0.2.1: The destination host was unreachable.", "192.0.2.2: 64"}));
}

TEST_F(IcmpHostStatRetrieverTest, WhileBusyNothingIsFinalized) {
  hangEchoes();
  EXPECT_TRUE(retriever->requestStatistict(MakeHosts({"one"}), {}));
  EXPECT_FALSE(retriever->isRequestDone());
  Results results(3);
  EXPECT_FALSE(retriever->finalizeRequest(results));
  EXPECT_TRUE(results.empty());
}

TEST_F(IcmpHostStatRetrieverTest, WhileBusyASecondRequestIsRefused) {
  holdLookUps();
  EXPECT_TRUE(retriever->requestStatistict(MakeHosts({"one"}), {}));
  EXPECT_FALSE(retriever->requestStatistict(MakeHosts({"two"}), {1, 2, true}));
  held.open();
  ASSERT_TRUE(AwaitDone(*retriever));
  Results results;
  EXPECT_TRUE(retriever->finalizeRequest(results));
  EXPECT_EQ(Summarize(results), (vector<string>{"192.0.2.1: 64"}));
  EXPECT_EQ(script->sent, (vector<SentEcho>{{"192.0.2.1", 64, 250}}));
}

TEST_F(IcmpHostStatRetrieverTest, WhileBusyNothingIsPushed) {
  holdLookUps();
  EXPECT_TRUE(retriever->requestStatistict(MakeHosts({"one"}), {}));
  EXPECT_FALSE(retriever->pushResult({Pushed("mine")}));
  held.open();
  ASSERT_TRUE(AwaitDone(*retriever));
  Results results;
  EXPECT_TRUE(retriever->finalizeRequest(results));
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0].hostName, "one");
}

TEST_F(IcmpHostStatRetrieverTest, PushedResultsAreFinalized) {
  EXPECT_TRUE(retriever->pushResult({Pushed("mine"), Pushed("yours")}));
  Results results;
  EXPECT_TRUE(retriever->finalizeRequest(results));
  ASSERT_EQ(results.size(), 2U);
  EXPECT_EQ(results[0].hostName, "mine");
  EXPECT_EQ(results[1].hostName, "yours");
}

TEST_F(IcmpHostStatRetrieverTest, PushedResultsReplaceThoseAtHand) {
  EXPECT_TRUE(retriever->requestStatistict(MakeHosts({"one"}), {}));
  ASSERT_TRUE(AwaitDone(*retriever));
  EXPECT_TRUE(retriever->pushResult({Pushed("mine")}));
  Results results;
  EXPECT_TRUE(retriever->finalizeRequest(results));
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0].hostName, "mine");
}

TEST_F(IcmpHostStatRetrieverTest, ResultsAreHandedOutOnce) {
  EXPECT_EQ(measure(MakeHosts({"one"})).size(), 1U);
  Results results(1);
  EXPECT_TRUE(retriever->finalizeRequest(results));
  EXPECT_TRUE(results.empty());
}

TEST_F(IcmpHostStatRetrieverTest, ANewRequestDropsResultsLeftBehind) {
  EXPECT_TRUE(retriever->pushResult({Pushed("old")}));
  EXPECT_TRUE(measure({}).empty());
}

TEST_F(IcmpHostStatRetrieverTest, BatchesFollowEachOther) {
  for (int i = 0; i < 20; ++i) EXPECT_EQ(measure(MakeHosts({"one", "two"})).size(), 2U);
}

TEST_F(IcmpHostStatRetrieverTest, ASpuriousWakeKeepsResults) {
  EXPECT_TRUE(retriever->pushResult({Pushed("mine")}));
  for (int i = 0; i < 100; ++i) {
    IcmpHostStatRetrieverDoor::Wake(*retriever);
    std::this_thread::yield();
  }
  EXPECT_TRUE(retriever->isRequestDone());
  Results results;
  EXPECT_TRUE(retriever->finalizeRequest(results));
  EXPECT_EQ(results.size(), 1U);
}

TEST_F(IcmpHostStatRetrieverTest, ASpuriousWakeLosesNoRequest) {
  for (int i = 0; i < 100; ++i) {
    IcmpHostStatRetrieverDoor::Wake(*retriever);
    EXPECT_EQ(measure(MakeHosts({"one"})).size(), 1U);
  }
}

TEST_F(IcmpHostStatRetrieverTest, PublicCallsAnswerWhileTheResolverHangs) {
  holdLookUps();
  EXPECT_TRUE(retriever->requestStatistict(MakeHosts({"one"}), {}));
  ASSERT_TRUE(held.waitForArrivals(1));
  // Each of these would hang with the resolver if the lock were held.
  Results results;
  EXPECT_FALSE(retriever->isRequestDone());
  EXPECT_FALSE(retriever->finalizeRequest(results));
  EXPECT_FALSE(retriever->requestStatistict({}, {}));
  EXPECT_FALSE(retriever->pushResult({}));
  EXPECT_FALSE(held.isOpen());
}

TEST_F(IcmpHostStatRetrieverTest, PublicCallsAnswerWhileEchoesAreOut) {
  std::atomic<bool> waiting = false;
  hangEchoes();
  script->onWait = [&waiting] {
    waiting = true;
    waiting.notify_all();
  };
  EXPECT_TRUE(retriever->requestStatistict(MakeHosts({"one"}), {}));
  waiting.wait(false);
  Results results;
  EXPECT_FALSE(retriever->isRequestDone());
  EXPECT_FALSE(retriever->finalizeRequest(results));
}

TEST_F(IcmpHostStatRetrieverTest, TheDestructorAbandonsABatch) {
  std::atomic<bool> waiting = false;
  hangEchoes();
  script->onWait = [&waiting] {
    waiting = true;
    waiting.notify_all();
  };
  EXPECT_TRUE(retriever->requestStatistict(MakeHosts({"one", "two"}), {}));
  waiting.wait(false);
  retriever.reset();
  EXPECT_EQ(script->openEchoes, 0);
}

TEST_F(IcmpHostStatRetrieverTest, TheDestructorWaitsForOneLookUpAlone) {
  table.setOnLookUp([this, raw = retriever.get()](const string&) {
    held.arrive([] {});
    while (!IcmpHostStatRetrieverDoor::IsStopping(*raw)) std::this_thread::yield();
  });
  EXPECT_TRUE(retriever->requestStatistict(MakeHosts({"one", "two", "both"}), {}));
  ASSERT_TRUE(held.waitForArrivals(1));
  retriever.reset();
  EXPECT_EQ(table.countLookUps(), 1);
  EXPECT_TRUE(script->sent.empty());
}

TEST_F(IcmpHostStatRetrieverTest, EchoesAreGivenBackAfterABatch) {
  measure(MakeHosts({"one", "two"}));
  retriever.reset();
  EXPECT_EQ(script->openEchoes, 0);
}

TEST_F(IcmpHostStatRetrieverTest, ABatchThatRunsOutOfMemoryEndsAndTheThreadLives) {
  script->opening = [](const IpAddress& target) -> EchoOpening {
    if (target.getAddressAsString(false) == "192.0.2.2") throw std::bad_alloc();
    return EchoOpening::Opened;
  };
  EXPECT_TRUE(measure(MakeHosts({"one", "nowhere", "two"})).empty());
  EXPECT_EQ(measure(MakeHosts({"one"})).size(), 1U);
}

}  // namespace
}  // namespace qx::test
