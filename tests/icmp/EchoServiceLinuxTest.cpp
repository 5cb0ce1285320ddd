// Real packets through a router of the test's own, which answers as it likes.
#include "netweft/icmp/internal/EchoServiceLinux.h"

#include "tests/icmp/PacketFixture.h"
#include "tests/icmp/StampFault.h"
#include "tests/icmp/TunRouter.h"

#include <chrono>
#include <functional>
#include <random>
#include <thread>

namespace qx::test {
namespace {

using namespace impl;
using RequestParam = IcmpHostStatRetriever::RequestParam;
using Delivery = TunRouter::Delivery;
using Deliveries = vector<Delivery>;

constexpr uint32 sPatientMs = 20000;

class EchoServiceLinuxTest : public testing::TestWithParam<Way> {
 protected:
  static void SetUpTestSuite() {
    if (CanMakeNetworks()) network = NetworkNamespace::Create();
  }
  static void TearDownTestSuite() { network.reset(); }

  void SetUp() override {
    if (!network) GTEST_SKIP() << "no network namespaces here";
    AllowKind(*network, std::get<1>(GetParam()));
  }

  static IcmpFamily Family() { return std::get<0>(GetParam()); }
  static string Host(int number) { return TunRouter::GetHost(Family(), number); }
  static string RouterAddress() { return TunRouter::GetAddress(Family()); }

  void route(TunRouter::Policy policy) { router = std::make_unique<TunRouter>(*network, std::move(policy)); }

  static Results Run(const vector<string>& names, const RequestParam& param = {sPatientMs, 350, false}) {
    return MeasureIn(*network, names, param);
  }

  /// The outcome of the host of number 2.
  static string RunOne(const RequestParam& param) {
    const Results results = Run({Host(2)}, param);
    if (results.size() != 1) return "no result";
    return results[0].isValid() ? std::to_string(results[0].hops) + " hops" : results[0].errorMessage;
  }

  /// The latency of a host whose replies take so long; 0 when it is not measured, or beyond all reason.
  uint32 measureDelayOf(double ms) {
    route([ms](const IpPacket& request) { return Deliveries{Packet(MakeReply(request), ms)}; });
    const Results results = Run({Host(2)});
    return results.size() == 1 && results[0].latencyMs <= sPatientMs ? results[0].latencyMs : 0;
  }

  static Delivery Packet(const IpPacket& packet, double afterMs = 0) { return {afterMs, BuildPacket(packet)}; }
  static Delivery MakeExpiry(const IpPacket& cause, double afterMs = 0) {
    return Packet(MakeError(cause, RouterAddress(), Family() == IcmpFamily::V4 ? 11 : 3, 0), afterMs);
  }
  static Delivery MakeUnreachable(const IpPacket& cause) {
    return Packet(MakeError(cause, RouterAddress(), Family() == IcmpFamily::V4 ? 3 : 1, 0));
  }

  static inline unique_ptr<NetworkNamespace> network;
  unique_ptr<TunRouter> router;
};

INSTANTIATE_TEST_SUITE_P(EveryWay, EchoServiceLinuxTest, AllWays(), NameWay);

TEST_P(EchoServiceLinuxTest, AnEchoCarriesThirtyTwoBytesUnfragmentedAtFullRange) {
  route([](const IpPacket& request) { return Deliveries{Packet(MakeReply(request))}; });
  EXPECT_EQ(RunOne({sPatientMs, 350, false}), "64 hops");
  const vector<IpPacket> requests = router->getRequests();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(requests[0].destination, Host(2));
  EXPECT_EQ(requests[0].timeToLive, 64);
  EXPECT_TRUE(requests[0].dontFragment || Family() == IcmpFamily::V6);
  PacketBytes expected;
  for (int value = 0x20; value <= 0x3F; ++value) expected.push_back(static_cast<unsigned char>(value));
  ASSERT_EQ(requests[0].message.size(), 40U);
  EXPECT_EQ(PacketBytes(requests[0].message.begin() + 8, requests[0].message.end()), expected);
  // Building it anew puts the right checksum in.
  const auto rebuilt = ParsePacket(BuildPacket(requests[0]));
  EXPECT_EQ(rebuilt->message, requests[0].message);
}

uint16 GetSequence(const PacketBytes& message) { return static_cast<uint16>(message[6] << 8 | message[7]); }

TEST_P(EchoServiceLinuxTest, EachEchoHasItsTimeToLiveAndTheNextSequence) {
  route([](const IpPacket& request) {
    return Deliveries{request.timeToLive < 4 ? MakeExpiry(request) : Packet(MakeReply(request))};
  });
  EXPECT_EQ(RunOne({sPatientMs, 350, true}), "4 hops");
  const vector<IpPacket> requests = router->getRequests();
  ASSERT_EQ(requests.size(), 4U);
  for (uint64 i = 0; i < requests.size(); ++i) {
    const PacketBytes& message = requests[i].message;
    const PacketBytes& first = requests[0].message;
    EXPECT_EQ(requests[i].timeToLive, i + 1);
    EXPECT_TRUE(std::equal(message.begin() + 4, message.begin() + 6, first.begin() + 4)) << "another identifier";
    EXPECT_EQ(static_cast<uint16>(GetSequence(message) - GetSequence(first)), i);
  }
}

TEST_P(EchoServiceLinuxTest, TheRoundTripIsThatOfTheNetwork) { EXPECT_GE(measureDelayOf(40), 40U); }

/// The kernel hands packets over a moment after the router has let go of them.
bool WaitForCompletion(Echo& echo) {
  for (int waitedMs = 0; waitedMs < 10'000; ++waitedMs) {
    if (echo.takeCompletion()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return false;
}

/// Runs one echo whose process looks at it when `wait` has returned, and gives its completion.
EchoReply ReadAfter(const std::function<void()>& wait, const NetworkNamespace& network, const string& host,
                    uint32 timeoutMs, uint32& replies) {
  EchoReply reply;
  network.run([&] {
    EchoServiceLinux service;
    unique_ptr<Echo> echo;
    ASSERT_EQ(service.open(IpAddress(host, IpAddress::IPT_Invalid), echo), EchoOpening::Opened);
    ASSERT_EQ(echo->send({64, timeoutMs}), 0U);
    wait();
    EXPECT_TRUE(WaitForCompletion(*echo));
    EXPECT_FALSE(echo->takeCompletion()) << "a completion is taken once";
    replies = echo->parseReplies(reply);
  });
  return reply;
}

void WaitForDeliveries(const TunRouter& router, uint64 count) {
  while (router.countDelivered() < count) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

/// The same, long after the reply has come.
EchoReply ReadLate(const NetworkNamespace& network, const TunRouter& router, const string& host, uint32 timeoutMs,
                   uint32& replies) {
  const auto wait = [&] {
    WaitForDeliveries(router, 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(timeoutMs + 100));
  };
  return ReadAfter(wait, network, host, timeoutMs, replies);
}

TEST_P(EchoServiceLinuxTest, ABusyProcessMeasuresTheNetworkAndNotItself) {
  // The kernel may need a moment before it stamps; a machine under load may be slow: one good measure proves the
  // stamps.
  for (int attempt = 0; attempt < 5; ++attempt) {
    route([](const IpPacket& request) { return Deliveries{Packet(MakeReply(request), 20)}; });
    uint32 replies = 0;
    const EchoReply reply = ReadLate(*network, *router, Host(2), 300, replies);
    router.reset();
    if (replies == 0) continue;
    EXPECT_EQ(reply.status, 0U);
    EXPECT_GE(reply.roundTripMs, 20U);
    EXPECT_LE(reply.roundTripMs, 300U) << "the time until the reading was measured, too";
    return;
  }
  FAIL() << "replies that came in time counted as late";
}

TEST_P(EchoServiceLinuxTest, AReplyThatCameTooLateIsNotCreditedThoughItCanBeRead) {
  route([](const IpPacket& request) { return Deliveries{Packet(MakeReply(request), 150)}; });
  uint32 replies = 1;
  ReadLate(*network, *router, Host(2), 50, replies);
  EXPECT_EQ(replies, 0U);
}

TEST_P(EchoServiceLinuxTest, ALateReplyIsNotCreditedToTheNextEcho) {
  route([](const IpPacket& request) {
    return request.timeToLive == 1 ? Deliveries{Packet(MakeReply(request), 150)} : Deliveries{};
  });
  EXPECT_EQ(RunOne({100, 0, true}), "ICMP Timeout");
  EXPECT_EQ(router->getRequests().size(), 2U);
}

TEST_P(EchoServiceLinuxTest, ADoubledReplyIsCreditedOnce) {
  route([](const IpPacket& request) {
    return Deliveries{Packet(MakeReply(request), 30), Packet(MakeReply(request), 60), Packet(MakeReply(request), 90)};
  });
  const Results results = Run({Host(2), Host(2), Host(3)}, {sPatientMs, 350, false});
  for (const auto& result : results) EXPECT_GE(result.latencyMs, 30U);
  EXPECT_EQ(results.size(), 3U);
}

TEST_P(EchoServiceLinuxTest, ADoubledExpiryClimbsOneHopAlone) {
  route([](const IpPacket& request) {
    if (request.timeToLive == 4) return Deliveries{Packet(MakeReply(request))};
    return Deliveries{MakeExpiry(request), MakeExpiry(request), MakeExpiry(request, 1)};
  });
  EXPECT_EQ(RunOne({sPatientMs, 350, true}), "4 hops");
  EXPECT_EQ(router->getRequests().size(), 4U);
}

/// Replies that look like the one to `request` and are not.
vector<PacketBytes> MakeForeignReplies(const IpPacket& request) {
  const IpPacket good = MakeReply(request);
  vector<IpPacket> packets;
  for (const uint64 changed : {1U, 4U, 5U, 6U, 7U, 8U, 20U, 39U}) {
    packets.push_back(good);
    ++packets.back().message[changed];
  }
  packets.push_back(good);
  packets.back().message.pop_back();
  packets.push_back(good);
  packets.back().message.push_back(0x40);
  packets.push_back(good);
  packets.back().message.resize(8);
  packets.push_back(good);
  packets.back().message.resize(1200);
  packets.push_back(good);
  packets.back().source = TunRouter::GetHost(request.family, 999);
  packets.push_back(good);
  packets.back().message[0] = request.message[0];
  vector<PacketBytes> all;
  for (const IpPacket& packet : packets) all.push_back(BuildPacket(packet));
  // A checksum that does not hold.
  all.push_back(BuildPacket(good));
  const uint64 header = request.family == IcmpFamily::V4 ? 20 : 40;
  ++all.back()[header + 2];
  return all;
}

TEST_P(EchoServiceLinuxTest, ForeignRepliesAreNotCredited) {
  route([](const IpPacket& request) {
    Deliveries deliveries;
    for (const PacketBytes& bytes : MakeForeignReplies(request)) deliveries.push_back({0, bytes});
    return deliveries;
  });
  EXPECT_EQ(RunOne({200, 350, false}), "ICMP Timeout");
  EXPECT_GE(router->countDelivered(), 15U);
}

TEST_P(EchoServiceLinuxTest, TheReplyIsFoundInAFloodOfForeignOnes) {
  route([](const IpPacket& request) {
    Deliveries deliveries;
    const vector<PacketBytes> foreign = MakeForeignReplies(request);
    for (int round = 0; round < 150; ++round) {
      for (const PacketBytes& bytes : foreign) deliveries.push_back({round * 0.5, bytes});
    }
    deliveries.push_back(Packet(MakeReply(request), 60));
    return deliveries;
  });
  const Results results = Run({Host(2)});
  ASSERT_EQ(results.size(), 1U);
  EXPECT_TRUE(results[0].isValid()) << results[0].errorMessage;
  EXPECT_GE(results[0].latencyMs, 60U);
}

TEST_P(EchoServiceLinuxTest, AFloodOfForeignIdentifiersDoesNotCrowdTheReplyOut) {
  // More than any receive queue holds, and nobody reads meanwhile.
  route([](const IpPacket& request) {
    IpPacket foreign = MakeReply(request);
    ++foreign.message[5];
    Deliveries deliveries(5000, Packet(foreign));
    deliveries.push_back(Packet(MakeReply(request), 1));
    return deliveries;
  });
  uint32 replies = 0;
  const EchoReply reply = ReadAfter([&] { WaitForDeliveries(*router, 5001); }, *network, Host(2), 30'000, replies);
  EXPECT_EQ(replies, 1U);
  EXPECT_EQ(reply.status, 0U);
}

TEST_P(EchoServiceLinuxTest, ErrorsAboutForeignEchoesAreNotCredited) {
  route([](const IpPacket& request) {
    Deliveries deliveries;
    for (const uint64 changed : {0U, 4U, 5U, 6U, 7U}) {
      IpPacket other = request;
      ++other.message[changed];
      for (int copy = 0; copy < 50; ++copy) {
        deliveries.push_back(MakeUnreachable(other));
      }
    }
    IpPacket elsewhere = request;
    elsewhere.destination = Host(77);
    deliveries.push_back(MakeUnreachable(elsewhere));
    deliveries.push_back(Packet(MakeReply(request), 30));
    return deliveries;
  });
  EXPECT_EQ(RunOne({sPatientMs, 350, false}), "64 hops");
}

TEST_P(EchoServiceLinuxTest, ForeignErrorsDoNotFailTheNextSend) {
  route([](const IpPacket& request) {
    IpPacket other = request;
    ++other.message[5];
    const Delivery foreign = MakeUnreachable(other);
    Deliveries deliveries(20, foreign);
    deliveries.push_back(request.timeToLive < 5 ? MakeExpiry(request) : Packet(MakeReply(request)));
    deliveries.insert(deliveries.end(), 20, foreign);
    return deliveries;
  });
  EXPECT_EQ(RunOne({sPatientMs, 350, true}), "5 hops");
}

TEST_P(EchoServiceLinuxTest, AnErrorThatComesBetweenTwoEchoesDoesNotFailTheSecond) {
  route([](const IpPacket& request) {
    return Deliveries{MakeExpiry(request), MakeExpiry(request, 50), MakeExpiry(request, 50)};
  });
  network->run([&] {
    EchoServiceLinux service;
    unique_ptr<Echo> echo;
    ASSERT_EQ(service.open(IpAddress(Host(2), IpAddress::IPT_Invalid), echo), EchoOpening::Opened);
    ASSERT_EQ(echo->send({1, sPatientMs}), 0U);
    while (!echo->takeCompletion()) service.wait({echo.get()}, 10);
    while (router->countDelivered() < 3) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    // The kernel takes a delivered packet in on its own time.
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(echo->send({2, sPatientMs}), 0U);
  });
}

TEST_P(EchoServiceLinuxTest, ErrorsOfTheNetworkHaveTheirWords) {
  struct Case {
    int type;
    int code;
    const char* word;
  };
  const vector<Case> v4 = {{3, 0, "The destination network was unreachable."},
                           {3, 1, "The destination host was unreachable."},
                           {3, 2, "The destination protocol was unreachable."},
                           {3, 3, "The destination port was unreachable."},
                           {3, 4, "The packet was too big."},
                           {3, 5, "A bad route."},
                           {3, 13, "The destination was unreachable."},
                           {11, 0, "The time to live (TTL) expired in transit."},
                           {12, 0, "A parameter problem."}};
  const vector<Case> v6 = {{1, 0, "The destination network was unreachable."},
                           {1, 1, "The destination was unreachable."},
                           {1, 3, "The destination host was unreachable."},
                           {1, 4, "The destination port was unreachable."},
                           {2, 0, "The packet was too big."},
                           {3, 0, "The time to live (TTL) expired in transit."},
                           {3, 1, "The destination was unreachable."},
                           {4, 0, "A bad IP header was encountered."},
                           {4, 1, "An unrecognized next header was encountered."},
                           {4, 2, "The destination was unreachable."}};
  const vector<Case>& cases = Family() == IcmpFamily::V4 ? v4 : v6;
  vector<string> names;
  vector<string> expected;
  for (uint64 i = 0; i < cases.size(); ++i) {
    names.push_back(Host(static_cast<int>(i) + 2));
    expected.push_back(names.back() + ": " + cases[i].word);
  }
  // With copies: the router goes on until the next test takes its place.
  route([names, cases](const IpPacket& request) {
    const auto found = std::find(names.begin(), names.end(), request.destination);
    const Case& wanted = cases[static_cast<std::size_t>(found - names.begin())];
    return Deliveries{Packet(MakeError(request, RouterAddress(), wanted.type, wanted.code))};
  });
  EXPECT_EQ(Summarize(Run(names)), expected);
}

/// Redirects and source quenches, which are errors on IPv4 alone.
class EchoRemarksTest : public EchoServiceLinuxTest {};

INSTANTIATE_TEST_SUITE_P(BothKinds, EchoRemarksTest,
                         testing::Combine(testing::Values(IcmpFamily::V4),
                                          testing::Values(SocketKind::Datagram, SocketKind::Raw)),
                         NameWay);

TEST_P(EchoRemarksTest, ARemarkOfARouterDoesNotEndAnEcho) {
  route([](const IpPacket& request) {
    const IpPacket redirect = MakeError(request, RouterAddress(), 5, 1);
    const IpPacket sourceQuench = MakeError(request, RouterAddress(), 4, 0);
    return Deliveries{Packet(redirect), Packet(sourceQuench), Packet(MakeReply(request), 20)};
  });
  EXPECT_EQ(RunOne({sPatientMs, 350, false}), "64 hops");
}

TEST_P(EchoServiceLinuxTest, DelayDropsDoublesAndDisorderLeaveTheBestOnTop) {
  // Hosts 2 to 5 are near; the others are a hundred milliseconds away, and some of their packets get lost.
  route([random = std::mt19937(4711)](const IpPacket& request) mutable {
    const bool near = request.destination <= Host(5) && request.destination.size() == Host(5).size();
    if (!near && random() % 3 == 0) return Deliveries{};
    const double delay = (near ? 5.0 : 150.0) + static_cast<double>(random() % 5);
    Deliveries deliveries{Packet(MakeReply(request), delay)};
    if (random() % 2 == 0) deliveries.push_back(Packet(MakeReply(request), delay + static_cast<double>(random() % 10)));
    return deliveries;
  });
  vector<string> names;
  for (int number = 99; number >= 2; --number) names.push_back(Host(number));
  const Results results = Run(names, {1500, 350, false});
  ASSERT_EQ(results.size(), names.size());
  const Results best = IcmpHostStatRetriever::GetBestResults(results);
  ASSERT_FALSE(best.empty());
  EXPECT_LE(best.size(), 4U);
  uint32 fastest = IcmpHostStatRetriever::sNotMeasured;
  for (const auto& result : results) fastest = std::min(fastest, result.latencyMs);
  EXPECT_EQ(best.front().latencyMs, fastest);
  for (const auto& result : best) EXPECT_LT(result.latencyMs, 150U);
}

TEST_P(EchoServiceLinuxTest, FiveHundredAddressesTakeAboutAsLongAsTheSlowest) {
  route([](const IpPacket& request) {
    return Deliveries{Packet(MakeReply(request), request.destination == Host(3) ? 400 : 300)};
  });
  vector<string> names;
  for (int number = 2; number < 502; ++number) names.push_back(Host(number));
  const auto start = std::chrono::steady_clock::now();
  const Results results = Run(names);
  const auto took = std::chrono::steady_clock::now() - start;
  EXPECT_EQ(results.size(), 500U);
  for (const auto& result : results) EXPECT_TRUE(result.isValid()) << result.errorMessage;
  // One after the other they would take two and a half minutes.
  EXPECT_LT(took, std::chrono::seconds(15));
}

TEST_P(EchoServiceLinuxTest, IdentifiersAreDistinct) {
  route([](const IpPacket& request) { return Deliveries{Packet(MakeReply(request))}; });
  Run(vector<string>(200, Host(2)));
  set<int> identifiers;
  for (const IpPacket& request : router->getRequests()) {
    identifiers.insert(request.message[4] << 8 | request.message[5]);
  }
  EXPECT_EQ(identifiers.size(), 200U);
}

TEST_P(EchoServiceLinuxTest, TheDestructorEndsABatchThatWaitsForReplies) {
  route([](const IpPacket&) { return Deliveries{}; });
  std::chrono::steady_clock::duration took{};
  network->run([&] {
    IcmpHostStatRetriever* retriever = new IcmpHostStatRetriever;
    EXPECT_TRUE(retriever->requestStatistict(MakeHosts(vector<string>(50, Host(2))), {600000, 350, false}));
    while (router->getRequests().size() < 50) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const auto start = std::chrono::steady_clock::now();
    delete retriever;
    took = std::chrono::steady_clock::now() - start;
  });
  EXPECT_LT(took, std::chrono::seconds(10));
}

TEST_P(EchoServiceLinuxTest, ASystemThatRefusesTheSendIsQuoted) {
  // No route leads there.
  const string address = Family() == IcmpFamily::V4 ? "198.51.100.1" : "2001:db8::1";
  const Results results = Run({address});
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0].errorMessage, "101 : Network is unreachable");
}

TEST_P(EchoServiceLinuxTest, ThisMachineAnswersItself) {
  const Results results = Run({Family() == IcmpFamily::V4 ? "127.0.0.1" : "::1"}, {sPatientMs, 350, true});
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0].hops, 1U);
}

TEST_P(EchoServiceLinuxTest, TheUnspecifiedAddressIsThisMachine) {
  const Results results = Run({Family() == IcmpFamily::V4 ? "0.0.0.0" : "::"}, {5000, 350, true});
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(results[0].hops, 1U) << results[0].errorMessage;
}

TEST_P(EchoServiceLinuxTest, WithoutStampsTheSteadyClockMeasures) {
  const StampFault fault(StampFault::Kind::Missing);
  // The kernel may need a moment before it stamps; until then nothing is taken away.
  for (int attempt = 0; fault.countTouched() == 0; ++attempt) {
    ASSERT_LT(attempt, 100) << "the kernel stamps nothing";
    EXPECT_GE(measureDelayOf(40), 40U);
    router.reset();
  }
}

TEST_P(EchoServiceLinuxTest, ASystemClockPutForwardMeanwhileDoesNotCount) {
  const StampFault fault(StampFault::Kind::AnHourLater);
  EXPECT_GE(measureDelayOf(40), 40U);
}

TEST_P(EchoServiceLinuxTest, ASystemClockPutBackMeanwhileDoesNotCount) {
  const StampFault fault(StampFault::Kind::AnHourEarlier);
  EXPECT_GE(measureDelayOf(40), 40U);
}

TEST_P(EchoServiceLinuxTest, AnAddressOfNoFamilyIsUnsupported) {
  EchoServiceLinux service;
  unique_ptr<Echo> echo;
  EXPECT_EQ(service.open(IpAddress(), echo), EchoOpening::UnsupportedType);
  EXPECT_EQ(echo, nullptr);
}

TEST_P(EchoServiceLinuxTest, ErrorTextsAreEnglishWhateverTheLocale) {
  EXPECT_EQ(EchoServiceLinux().getErrorText(101), "Network is unreachable");
}

}  // namespace
}  // namespace qx::test
