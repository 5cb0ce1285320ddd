#include "netweft/base/system/qxLog.h"

#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxThread.h"
#include "tests/base/StderrCapture.h"
#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

namespace qx {
namespace {

using test::Detail;
using test::Error;
using test::LogCapture;
using test::Warning;
using testing::ElementsAre;
using testing::MatchesRegex;
using testing::UnorderedElementsAre;

/// Puts the switches back to how a process starts.
class qxLogTest : public testing::Test {
 protected:
  void TearDown() override {
    for (const string& channel : qxLog::GetChannels()) log.enableChannel(channel, false);
    log.enableWarnings(true);
    log.enableErrors(true);
    log.setSink(nullptr);
  }

  qxLog& log = *qxLog::editPtr();
};

/// Holds the lines inside it until its gate is opened.
class GatedSink final : public qxLogSink {
 public:
  void write(const qxLogLine&) noexcept override {
    if (++inside == 1) entered.set_value();
    mOpened.wait();
    // Nothing tells that another thread is inside `setSink`; one that does not wait is caught by this pause.
    qxThread::msleep(30);
    --inside;
  }

  std::atomic<int> inside{0};
  std::promise<void> entered;
  std::promise<void> gate;

 private:
  std::shared_future<void> mOpened{gate.get_future().share()};
};

class CountingSink final : public qxLogSink {
 public:
  void write(const qxLogLine&) noexcept override { ++lines; }

  std::atomic<int> lines{0};
};

/// Made while the program is loaded, before the library's own static objects.
const bool sWrittenAtLoad = [] {
  LogDetail("http") << "dropped " << 5;
  return qxLog::editPtr() != nullptr;
}();

TEST_F(qxLogTest, WorksWhileTheProgramIsLoaded) { EXPECT_TRUE(sWrittenAtLoad); }

TEST_F(qxLogTest, TypesHaveTheirFixedNumbers) {
  EXPECT_EQ(int{LT_Detail}, 0);
  EXPECT_EQ(int{LT_Warning}, 2);
  EXPECT_EQ(int{LT_Error}, 3);
  EXPECT_EQ(int{LT_Dropped}, 4);
}

TEST_F(qxLogTest, ThereIsOneInAProcess) { EXPECT_EQ(qxLog::editPtr(), qxLog::editPtr()); }

TEST_F(qxLogTest, ChannelsAreThoseOfTheLibrary) {
  EXPECT_THAT(qxLog::GetChannels(),
              UnorderedElementsAre("", "http", "url", "curl", "couchdb", "esriver", "esresultparser", "jwt"));
}

TEST_F(qxLogTest, DetailLinesAreOffAtTheStart) {
  for (const string& channel : qxLog::GetChannels()) EXPECT_FALSE(log.isEnabled(LT_Detail, channel.c_str()));
  EXPECT_FALSE(log.isEnabled(LT_Detail, nullptr));
}

TEST_F(qxLogTest, WarningsAndErrorsAreOnAtTheStart) {
  EXPECT_TRUE(log.isEnabled(LT_Warning, nullptr));
  EXPECT_TRUE(log.isEnabled(LT_Error, nullptr));
}

TEST_F(qxLogTest, ChannelsAreSwitchedOneByOne) {
  for (const string& on : qxLog::GetChannels()) {
    EXPECT_TRUE(log.enableChannel(on, true));
    for (const string& channel : qxLog::GetChannels()) {
      EXPECT_EQ(log.isEnabled(LT_Detail, channel.c_str()), channel == on) << channel << " while on: " << on;
    }
    EXPECT_TRUE(log.enableChannel(on, false));
  }
}

TEST_F(qxLogTest, NullChannelIsTheUnnamedOne) {
  log.enableChannel("", true);
  EXPECT_TRUE(log.isEnabled(LT_Detail, nullptr));
}

TEST_F(qxLogTest, UnknownChannelIsOffAndCannotBeSwitched) {
  for (const string& channel : qxLog::GetChannels()) log.enableChannel(channel, true);
  EXPECT_FALSE(log.enableChannel("htt", true));
  EXPECT_FALSE(log.enableChannel("HTTP", true));
  EXPECT_FALSE(log.enableChannel(string("http\0", 5), true));
  EXPECT_FALSE(log.isEnabled(LT_Detail, "htt"));
}

TEST_F(qxLogTest, WarningsAndErrorsAreSwitchedApart) {
  log.enableWarnings(false);
  EXPECT_FALSE(log.isEnabled(LT_Warning, nullptr));
  EXPECT_TRUE(log.isEnabled(LT_Error, nullptr));
  log.enableWarnings(true);
  log.enableErrors(false);
  EXPECT_TRUE(log.isEnabled(LT_Warning, nullptr));
  EXPECT_FALSE(log.isEnabled(LT_Error, nullptr));
}

TEST_F(qxLogTest, DroppedAndUnknownTypesAreOff) {
  for (const string& channel : qxLog::GetChannels()) log.enableChannel(channel, true);
  EXPECT_FALSE(log.isEnabled(LT_Dropped, nullptr));
  EXPECT_FALSE(log.isEnabled(static_cast<qxLogType>(1), ""));
  EXPECT_FALSE(log.isEnabled(static_cast<qxLogType>(7), ""));
}

TEST_F(qxLogTest, SinkGetsTheLinesThatAreOn) {
  const LogCapture capture;
  log.enableChannel("url", false);
  LogDetail("http") << "one";
  LogDetail("url") << "two";
  LogWarning() << "three";
  LogError() << "four";
  EXPECT_THAT(capture.getLines(), ElementsAre(Detail("http", "one"), Warning("three"), Error("four")));
}

TEST_F(qxLogTest, SinkGetsTheTextAsItWasWritten) {
  const LogCapture capture;
  const string text = "line\nend\x1b[31m" + string(10000, 'x') + string("\0tail", 5);
  LogError() << text;
  EXPECT_THAT(capture.getLines(), ElementsAre(Error(text)));
}

TEST_F(qxLogTest, SinkGetsTheModuleAndTheThread) {
  class Sink final : public qxLogSink {
   public:
    void write(const qxLogLine& line) noexcept override {
      module = line.module;
      channel = line.channel;
      threadId = line.threadId;
    }
    string module;
    string channel;
    uint64 threadId = 0;
  } sink;
  log.setSink(&sink);
  qxLogObject(LT_Error, nullptr, &log, "qxNetweft") << "text";
  EXPECT_EQ(sink.module, "qxNetweft");
  EXPECT_EQ(sink.channel, "");
  EXPECT_EQ(sink.threadId, static_cast<uint64>(gettid()));
  LogError() << "text";
  EXPECT_EQ(sink.module, "");
}

TEST_F(qxLogTest, WithoutASinkALineIsOneWriteToStderr) {
  test::StderrCapture capture;
  LogError() << "first " << 1;
  LogWarning() << "second\nforged line";
  EXPECT_THAT(capture.takeWrites(),
              ElementsAre(MatchesRegex("....-..-.. ..:..:......? ERROR \\[-\\] [0-9]+ first 1\n"),
                          MatchesRegex("....-..-.. ..:..:......? WARNING \\[-\\] [0-9]+ second.nforged line\n")));
}

TEST_F(qxLogTest, LinesGoBackToStderrWhenTheSinkIsTakenAway) {
  CountingSink sink;
  test::StderrCapture capture;
  log.setSink(&sink);
  LogError() << "to the sink";
  log.setSink(nullptr);
  LogError() << "to stderr";
  EXPECT_EQ(sink.lines, 1);
  EXPECT_EQ(capture.takeWrites().size(), 1U);
}

TEST_F(qxLogTest, ChangeOfTheSinkWaitsUntilNoLineIsInsideThePreviousOne) {
  GatedSink sink;
  CountingSink next;
  log.setSink(&sink);
  auto writer = std::async(std::launch::async, [] { LogError() << "text"; });
  sink.entered.get_future().wait();
  sink.gate.set_value();
  log.setSink(&next);
  EXPECT_EQ(sink.inside, 0);
  writer.get();
}

TEST_F(qxLogTest, LinesThatComeDuringAChangeGoToTheNewSink) {
  GatedSink sink;
  CountingSink next;
  log.setSink(&sink);
  auto held = std::async(std::launch::async, [] { LogError() << "held"; });
  sink.entered.get_future().wait();
  auto change = std::async(std::launch::async, [this, &next] { log.setSink(&next); });
  // Those that come before the change are held, too.
  vector<std::future<void>> writers;
  while (next.lines == 0) {
    writers.push_back(std::async(std::launch::async, [] { LogError() << "text"; }));
    std::this_thread::yield();
  }
  EXPECT_EQ(change.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
  sink.gate.set_value();
  change.get();
}

TEST_F(qxLogTest, SinksMayChangeWhileManyThreadsWrite) {
  CountingSink sinks[2];
  std::atomic<bool> stop{false};
  std::atomic<int> written{0};
  vector<std::thread> writers;
  log.setSink(&sinks[0]);
  for (int i = 0; i < 3; ++i) {
    writers.emplace_back([&] {
      while (!stop) {
        LogError() << "text";
        ++written;
      }
    });
  }
  for (int i = 0; i < 200; ++i) log.setSink(&sinks[i % 2]);
  stop = true;
  for (std::thread& writer : writers) writer.join();
  EXPECT_EQ(sinks[0].lines + sinks[1].lines, written);
}

TEST_F(qxLogTest, TimeIsUtcWithMilliseconds) {
  EXPECT_THAT(qxLog::GetTime(),
              MatchesRegex("[0-9][0-9][0-9][0-9]-[0-9][0-9]-[0-9][0-9] [0-9][0-9]:[0-9][0-9]:[0-9][0-9]\\."
                           "[0-9][0-9][0-9]"));
}

}  // namespace
}  // namespace qx
