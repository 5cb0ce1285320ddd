#include "netweft/icmp/internal/IcmpHostStatRetrieverDoor.h"
#include "tests/icmp/Batch.h"
#include "tests/icmp/ScriptedEchoService.h"
#include "tests/torture/TortureFixture.h"

namespace qx::test {
namespace {

/// Echoes of the tests' own, whose memory is not the library's.
class OwnEchoService final : public impl::EchoService {
 public:
  impl::EchoOpening open(const IpAddress& target, unique_ptr<impl::Echo>& echo) override {
    const FaultExemption own;
    return mScripted.open(target, echo);
  }
  void wait(const vector<impl::Echo*>& pending, uint32 limitMs) override {
    const FaultExemption own;
    mScripted.wait(pending, limitMs);
  }
  string getErrorText(uint32 code) const override { return mScripted.getErrorText(code); }
  double getElapsedMs(const qxHighResTimer& timer) const override { return mScripted.getElapsedMs(timer); }

 private:
  ScriptedEchoService mScripted{std::make_shared<EchoScript>()};
};

class IcmpTortureTest : public Torture<> {};

TEST_F(IcmpTortureTest, ABatchEndsWithItsResultsOrWithoutAny) {
  const Hosts hosts = MakeHosts({"192.0.2.1", "2001:db8::7", "192.0.2.2"});
  failEach([&](Attempt& attempt) {
    unique_ptr<IcmpHostStatRetriever> retriever;
    Results results;
    bool isDone = false;
    const bool told = attempt.runsOut([&] {
      retriever = impl::IcmpHostStatRetrieverDoor::Create(std::make_unique<OwnEchoService>());
      const bool isTaken = retriever->requestStatistict(hosts, {});
      EXPECT_TRUE(isTaken && AwaitDone(*retriever));
      isDone = retriever->finalizeRequest(results);
    });
    EXPECT_TRUE(told || isDone);
    if (isDone) {
      EXPECT_TRUE(results.size() == hosts.size() || (attempt.wasHit() && results.empty())) << results.size();
    }
    if (retriever == nullptr) return;
    EXPECT_EQ(Measure(*retriever, hosts).size(), hosts.size());
  });
}

}  // namespace
}  // namespace qx::test
