#include "netweft/base/system/qxThreadPeriodicalUpdater.h"
#include "netweft/couch/MultiThreadedDocumentUploader.h"
#include "netweft/elasticsearch/MultiThreadedDocumentGetter.h"
#include "netweft/icmp/internal/IcmpHostStatRetrieverDoor.h"
#include "netweft/river/CouchToEsRiverManager.h"
#include "tests/couch/ConflictSolverFixture.h"
#include "tests/couch/DocumentUpdaterFixture.h"
#include "tests/icmp/Batch.h"
#include "tests/icmp/ScriptedEchoService.h"
#include "tests/support/LogCapture.h"
#include "tests/torture/ThreadFault.h"

#include <system_error>

/// Classes with threads of their own, when the system gives them none or too few.
namespace qx::test {
namespace {

constexpr const char* kRefusal = "A thread could not be started: ";

class GetterThreadStartTest : public DocumentGetterFixture {
 protected:
  LogCapture log;
};

TEST_F(GetterThreadStartTest, WithoutAnyThreadThereIsNoGetter) {
  const ThreadFault none(0);
  EXPECT_THROW(make(2), std::system_error);
  EXPECT_TRUE(log.contains(LT_Error, kRefusal));
}

TEST_F(GetterThreadStartTest, OneThreadDoesTheWorkOfAll) {
  unique_ptr<Getter> getter;
  {
    const ThreadFault few(1);
    getter = make(3);
  }
  getter->addJobs(MakeIds(5));
  EXPECT_TRUE(getter->waitUntilAllJobsAreDone(nullptr));
  EXPECT_EQ(recorder.size(), 5u);
  EXPECT_TRUE(log.contains(LT_Error, kRefusal));
}

TEST_F(GetterThreadStartTest, WithoutAnyThreadThereIsNoUploader) {
  const ThreadFault none(0);
  EXPECT_THROW(couch::MultiThreadedDocumentUploader(couchServer, "db", 2), std::system_error);
}

TEST_F(GetterThreadStartTest, WithoutAnyThreadThereIsNoElasticsearchGetter) {
  const elasticsearch::ESConnectionParameters es{Url(server.getUrl(""))};
  const ThreadFault none(0);
  EXPECT_THROW(elasticsearch::MultiThreadedDocumentGetter(es, nullptr, nullptr, nullptr, nullptr, 2, 10, qxVariant()),
               std::system_error);
}

class UpdaterThreadStartTest : public DocumentUpdaterFixture {
 protected:
  LogCapture log;
};

TEST_F(UpdaterThreadStartTest, WithoutAThreadThatReadsAndOneThatWritesThereIsNoUpdater) {
  for (const uint64 granted : {0u, 1u}) {
    const ThreadFault few(granted);
    EXPECT_THROW(make(2), std::system_error) << granted;
  }
}

TEST(ConflictSolverThreadStartTest, WithoutAManagerOrAWorkerThereIsNoSolver) {
  const LogCapture log;
  for (const uint64 granted : {0u, 2u}) {
    const ThreadFault few(granted);
    EXPECT_THROW(couch::ConflictSolver(2, 1000, 100), std::system_error) << granted;
  }
}

TEST(RiverThreadStartTest, WithoutAControlThreadOrAWorkerThereIsNoManager) {
  const LogCapture log;
  for (const uint64 granted : {0u, 2u}) {
    couch::RiverParameters parameters;
    parameters.workerCount = 2;
    const ThreadFault few(granted);
    EXPECT_THROW(couch::CouchToEsRiverManager(std::move(parameters)), std::system_error) << granted;
  }
}

TEST(IcmpThreadStartTest, WithoutAThreadThereIsNoRetriever) {
  const LogCapture log;
  auto echoes = std::make_unique<ScriptedEchoService>(std::make_shared<EchoScript>());
  const ThreadFault none(0);
  EXPECT_THROW(impl::IcmpHostStatRetrieverDoor::Create(std::move(echoes)), std::system_error);
}

TEST(PeriodicalUpdaterThreadStartTest, WithoutAThreadItIsThereAndTheLogKnows) {
  const LogCapture log;
  {
    const ThreadFault none(0);
    const qxThreadPeriodicalUpdater updater(1);
  }
  EXPECT_TRUE(log.contains(LT_Error, kRefusal));
}

}  // namespace
}  // namespace qx::test
