#include "netweft/base/system/internal/CallbackRounds.h"

#include "netweft/base/system/qxThread.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <stdexcept>

namespace qx::impl {
namespace {

/// A callback whose argument is the function to call.
void Call(void* arg) { (*static_cast<std::function<void()>*>(arg))(); }

using Function = std::function<void()>;

TEST(CallbackRounds, CallsAllInTheOrderOfTheirRegistration) {
  CallbackRounds rounds;
  string calls;
  Function a = [&calls] { calls += 'a'; };
  Function b = [&calls] { calls += 'b'; };
  rounds.add(Call, &b);
  rounds.add(Call, &a);
  rounds.runRound();
  rounds.runRound();
  EXPECT_EQ(calls, "baba");
}

TEST(CallbackRounds, PairAddedTwiceIsCalledOnceARound) {
  CallbackRounds rounds;
  int calls = 0;
  Function count = [&calls] { ++calls; };
  rounds.add(Call, &count);
  rounds.add(Call, &count);
  rounds.runRound();
  EXPECT_EQ(calls, 1);
  rounds.remove(Call, &count);
  rounds.runRound();
  EXPECT_EQ(calls, 1);
}

TEST(CallbackRounds, ArgumentTellsRegistrationsApart) {
  CallbackRounds rounds;
  string calls;
  Function a = [&calls] { calls += 'a'; };
  Function b = [&calls] { calls += 'b'; };
  rounds.add(Call, &a);
  rounds.add(Call, &b);
  rounds.remove(Call, &a);
  rounds.runRound();
  EXPECT_EQ(calls, "b");
}

TEST(CallbackRounds, RemovingWhatIsNotThereDoesNothing) {
  CallbackRounds rounds;
  Function none = [] {};
  rounds.remove(Call, &none);
  rounds.runRound();
}

TEST(CallbackRounds, RemovalFromTheCallbackItselfReturnsAtOnceAndIsFinal) {
  CallbackRounds rounds;
  int calls = 0;
  Function removesItself;
  removesItself = [&] {
    ++calls;
    rounds.remove(Call, &removesItself);
  };
  rounds.add(Call, &removesItself);
  rounds.runRound();
  rounds.runRound();
  EXPECT_EQ(calls, 1);
}

TEST(CallbackRounds, CallbackRemovedByAnotherOneIsNotRunInThatRound) {
  CallbackRounds rounds;
  int calls = 0;
  Function second = [&calls] { ++calls; };
  Function first = [&] { rounds.remove(Call, &second); };
  rounds.add(Call, &first);
  rounds.add(Call, &second);
  rounds.runRound();
  EXPECT_EQ(calls, 0);
}

TEST(CallbackRounds, RemovalOfAnEarlierOneLosesNoLaterOne) {
  CallbackRounds rounds;
  int calls = 0;
  Function first = [] {};
  Function second = [&] { rounds.remove(Call, &first); };
  Function third = [&calls] { ++calls; };
  rounds.add(Call, &first);
  rounds.add(Call, &second);
  rounds.add(Call, &third);
  rounds.runRound();
  EXPECT_EQ(calls, 1);
}

TEST(CallbackRounds, OneAddedDuringARoundWaitsForTheNext) {
  CallbackRounds rounds;
  int calls = 0;
  Function added = [&calls] { ++calls; };
  Function adder = [&] { rounds.add(Call, &added); };
  rounds.add(Call, &adder);
  rounds.runRound();
  EXPECT_EQ(calls, 0);
  rounds.runRound();
  EXPECT_EQ(calls, 1);
}

TEST(CallbackRounds, RemovalFromAnotherThreadWaitsWhileItRuns) {
  CallbackRounds rounds;
  std::promise<void> entered;
  std::promise<void> removing;
  std::atomic<bool> finished{false};
  Function callback = [&] {
    entered.set_value();
    removing.get_future().wait();
    // Nothing tells that the other thread is inside `remove`; a removal that does not wait is caught by this pause.
    qxThread::msleep(30);
    finished = true;
  };
  rounds.add(Call, &callback);
  auto round = std::async(std::launch::async, [&rounds] { rounds.runRound(); });
  entered.get_future().wait();
  removing.set_value();
  rounds.remove(Call, &callback);
  EXPECT_TRUE(finished);
  round.get();
}

TEST(CallbackRounds, SecondRemovalWaitsForARunThatTheFirstFromInsideLeftBehind) {
  CallbackRounds rounds;
  std::promise<void> removedFromInside;
  std::promise<void> removing;
  std::atomic<bool> finished{false};
  Function callback;
  callback = [&] {
    rounds.remove(Call, &callback);
    removedFromInside.set_value();
    removing.get_future().wait();
    qxThread::msleep(30);
    finished = true;
  };
  rounds.add(Call, &callback);
  auto round = std::async(std::launch::async, [&rounds] { rounds.runRound(); });
  removedFromInside.get_future().wait();
  removing.set_value();
  rounds.remove(Call, &callback);
  EXPECT_TRUE(finished);
  round.get();
}

TEST(CallbackRounds, RemovalOfAnotherOneDoesNotWaitForTheRunningOne) {
  CallbackRounds rounds;
  std::promise<void> entered;
  std::promise<void> gate;
  Function running = [&] {
    entered.set_value();
    gate.get_future().wait();
  };
  Function other = [] {};
  rounds.add(Call, &running);
  rounds.add(Call, &other);
  auto round = std::async(std::launch::async, [&rounds] { rounds.runRound(); });
  entered.get_future().wait();
  rounds.remove(Call, &other);
  gate.set_value();
  round.get();
}

TEST(CallbackRounds, ExceptionIsLoggedAndTheOthersRun) {
  const test::LogCapture log;
  CallbackRounds rounds;
  int calls = 0;
  Function broken = [] { throw std::runtime_error("broken"); };
  Function strange = [] { throw 5; };
  Function fine = [&calls] { ++calls; };
  rounds.add(Call, &broken);
  rounds.add(Call, &strange);
  rounds.add(Call, &fine);
  rounds.runRound();
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(log.count(test::Error("A periodical callback ended with an exception: broken")), 1U);
  EXPECT_EQ(log.count(test::Error("A periodical callback ended with an unknown exception")), 1U);
}

TEST(CallbackRounds, StopEndsTheRoundBeforeTheNextCallback) {
  CallbackRounds rounds;
  int calls = 0;
  Function stops = [&rounds] { rounds.stop(); };
  Function never = [&calls] { ++calls; };
  rounds.add(Call, &stops);
  rounds.add(Call, &never);
  rounds.runRound();
  rounds.runRound();
  EXPECT_EQ(calls, 0);
}

}  // namespace
}  // namespace qx::impl
