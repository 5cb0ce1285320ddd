#include "netweft/base/crypto/internal/CertStore.h"
#include "tests/chaos/ChaosClient.h"
#include "tests/http/LibraryFixture.h"
#include "tests/support/CurlTrace.h"
#include "tests/support/FaultyProxy.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/TestCertificates.h"

#include <curl/curl.h>

#include <future>
#include <mutex>

namespace qx::test {
namespace {

using std::chrono::milliseconds;

/// Every reply of a use is hit by one fault at a time; no use has more exchanges.
constexpr uint64 sMostExchanges = 12;

class ClientChaosTest : public LibraryFixture, public testing::WithParamInterface<ChaosClientKind> {
 protected:
  ClientChaosTest() : mClient(GetParam().make()), mProxy(makeOptions()) {
    EXPECT_TRUE(impl::AddTrustedAuthority(TestCertificates::GetShared().getAuthorityPem()));
    mServer.setHandler([this](const Request& request) { return answer(request); });
  }

  Outcome use() {
    {
      const std::lock_guard lock(mMutex);
      mShapes.clear();
    }
    return mClient->use(mProxy.getUrl());
  }
  void expectThatItWorks() {
    mProxy.heal();
    EXPECT_EQ(use(), Outcome::Worked);
  }

  /// A kept connection may have ended just now, and then the next request may find that out.
  void expectThatItRecovers() {
    mProxy.heal();
    EXPECT_TRUE(use() == Outcome::Worked || use() == Outcome::Worked);
  }

  /// The exchange at `index` from now on has the fault, and no other.
  void spoil(uint64 index, const Fault& fault) {
    mProxy.setPlan([index, fault, next = uint64{0}]() mutable { return next++ == index ? fault : Fault(); });
  }
  /// A use under a fault that may leave the client waiting: whatever is silent for long is dropped.
  Outcome useWithoutPatience(milliseconds patience) {
    std::future<Outcome> outcome = std::async(std::launch::async, [this] { return use(); });
    while (outcome.wait_for(patience) != std::future_status::ready) mProxy.dropConnections();
    return outcome.get();
  }

  /// The sizes of a reply, each with what comes before it.
  struct Shape {
    uint64 statusLine;
    uint64 head;
    uint64 all;

    bool isBrokenHead(uint64 offset) const { return offset >= statusLine && offset < head; }
  };
  static Shape GetShapeOfContinue() { return {23, 25, 25}; }
  vector<Shape> getShapes() const {
    const std::lock_guard lock(mMutex);
    return mShapes;
  }

  bool isTrusted(const Shape& shape, uint64 offset) const {
    return mClient->trustsBrokenHeads() && shape.isBrokenHead(offset);
  }
  /// When a kept connection ends before a status line is complete, libcurl asks again by itself.
  bool mayWorkWhenCutAt(const Shape& shape, uint64 offset) const {
    return offset < shape.statusLine || mClient->carriesOn() || isTrusted(shape, offset);
  }

  /// Each reply of a use, at each byte, until the replies have no more.
  void atEachByte(const std::function<Fault(uint64 offset)>& makeFault,
                  const std::function<void(uint64 exchange, uint64 offset)>& act) {
    for (uint64 exchange = 0; exchange < sMostExchanges; ++exchange) {
      for (uint64 offset = 0;; ++offset) {
        SCOPED_TRACE("exchange " + std::to_string(exchange) + ", byte " + std::to_string(offset));
        const uint64 hits = mProxy.getHits();
        const Fault fault = makeFault(offset);
        spoil(exchange, fault);
        act(exchange, offset);
        if (mProxy.getHits() == hits) {
          if (offset == 0) return;
          break;
        }
        expectThatItRecovers();
        if (HasFailure()) return;
      }
    }
    FAIL() << "a use has more than " << sMostExchanges << " exchanges";
  }

 private:
  FaultyProxyOptions makeOptions() const {
    FaultyProxyOptions options{.target = mServer.getPort()};
    if (mClient->usesTls()) options.tls = TestCertificates::GetShared().createGood();
    return options;
  }

  Reply answer(const Request& request) {
    Reply reply = mClient->answer(request);
    const string& head = reply.getSteps().front().text;
    uint64 all = 0;
    for (const Reply::Step& step : reply.getSteps()) {
      all += step.text.size() + (request.method == "HEAD" ? 0 : step.body.size());
    }
    const std::lock_guard lock(mMutex);
    // A reply by itself, sent before the body of the request.
    if (request.hasHeader("Expect")) mShapes.push_back(GetShapeOfContinue());
    mShapes.push_back({head.find("\r\n") + 2, head.size(), all});
    return reply;
  }

 protected:
  // The server's thread asks the client for answers until the server is gone.
  unique_ptr<ChaosClient> mClient;
  mutable std::mutex mMutex;
  /// Of the replies of a use, in order.
  vector<Shape> mShapes;
  ScriptedServer mServer;
  FaultyProxy mProxy;
};

TEST_P(ClientChaosTest, WorksAgainAndAgainWithoutAFault) {
  expectThatItWorks();
  expectThatItWorks();
}

TEST_P(ClientChaosTest, WorksWhenAllBytesComeOneByOne) {
  mProxy.setFault({.kind = Fault::FK_Slice});
  EXPECT_EQ(use(), Outcome::Worked);
  EXPECT_EQ(use(), Outcome::Worked);
}

TEST_P(ClientChaosTest, TellsThatAConnectionIsRefusedAndWorksOnceItIsNot) {
  mProxy.closePort();
  EXPECT_EQ(use(), Outcome::Broke);
  mProxy.openPort();
  expectThatItWorks();
  mProxy.closePort();
  mProxy.dropConnections();
  EXPECT_EQ(use(), Outcome::Broke);
  mProxy.openPort();
  expectThatItWorks();
}

TEST_P(ClientChaosTest, TellsThatEachConnectionIsReset) {
  mProxy.setFault({.kind = Fault::FK_Reset});
  EXPECT_EQ(use(), Outcome::Broke);
  expectThatItWorks();
}

TEST_P(ClientChaosTest, ReplacesAKeptConnectionThatWasEndedMeanwhile) {
  expectThatItWorks();
  mProxy.dropConnections();
  expectThatItWorks();
}

TEST_P(ClientChaosTest, SurvivesAKeptConnectionThatEndsUnderItsRequest) {
  expectThatItWorks();
  for (const Fault::Kind kind : {Fault::FK_Close, Fault::FK_Reset}) {
    spoil(0, {.kind = kind});
    // libcurl asks again by itself when a kept connection ends without a byte.
    EXPECT_NE(use(), Outcome::Altered);
    expectThatItRecovers();
  }
}

TEST_P(ClientChaosTest, TellsOfAReplyThatBreaksOffAtAnyByte) {
  expectThatItWorks();
  const vector<Shape> shapes = getShapes();
  atEachByte([](uint64 offset) { return Fault{.kind = Fault::FK_Cut, .offset = offset}; },
             [&](uint64 exchange, uint64 offset) {
               const uint64 hits = mProxy.getHits();
               const Outcome outcome = use();
               // Behind the last byte a cut is none: nothing is missing.
               // A feed asks again as often as time allows, and so more often than in the use without a fault.
               if (mProxy.getHits() == hits || exchange >= shapes.size()) return;
               const Shape& shape = shapes.at(exchange);
               if (offset == shape.all) return;
               EXPECT_TRUE(outcome == Outcome::Broke || mayWorkWhenCutAt(shape, offset)) << outcome;
               EXPECT_TRUE(outcome != Outcome::Altered || isTrusted(shape, offset)) << outcome;
             });
}

TEST_P(ClientChaosTest, TellsOfAReplyThatIsResetAtAnyByte) {
  expectThatItWorks();
  atEachByte([](uint64 offset) { return Fault{.kind = Fault::FK_CutByReset, .offset = offset}; },
             [&](uint64, uint64) { EXPECT_NE(use(), Outcome::Altered); });
}

TEST_P(ClientChaosTest, TakesNoHarmFromAChangedByte) {
  expectThatItWorks();
  // What a changed byte does not spoil, nobody can see: a letter in a text, a digit in a number.
  const milliseconds patience(40);
  atEachByte(
      [](uint64 offset) {
        return Fault{.kind = Fault::FK_Corrupt, .offset = offset, .mask = static_cast<unsigned char>(1U << offset % 8)};
      },
      [&](uint64, uint64) { useWithoutPatience(patience); });
}

TEST_P(ClientChaosTest, EndsAStalledReplyWithItsConnection) {
  for (const Fault::Kind kind : {Fault::FK_Stall, Fault::FK_Deaf}) {
    spoil(0, {.kind = kind, .offset = 10});
    EXPECT_NE(useWithoutPatience(milliseconds(100)), Outcome::Altered);
    expectThatItRecovers();
  }
}

TEST_P(ClientChaosTest, GivesUpAReplyBeyondItsTimeLimitAndTakesNoOtherForIt) {
  if (!mClient->hasTimeLimit()) GTEST_SKIP() << "this client has no time limit";
  CurlTrace trace;
  trace.replaceNumber(CURLOPT_LOW_SPEED_TIME, 1);
  mProxy.setFault({.kind = Fault::FK_Delay, .pause = std::chrono::seconds(60)});
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(use(), Outcome::Broke);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
  expectThatItWorks();
}

string NameOf(const testing::TestParamInfo<ChaosClientKind>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(Http, ClientChaosTest, testing::ValuesIn(HttpChaosClients()), NameOf);
INSTANTIATE_TEST_SUITE_P(Couch, ClientChaosTest, testing::ValuesIn(CouchChaosClients()), NameOf);
INSTANTIATE_TEST_SUITE_P(Other, ClientChaosTest, testing::ValuesIn(OtherChaosClients()), NameOf);

}  // namespace
}  // namespace qx::test
