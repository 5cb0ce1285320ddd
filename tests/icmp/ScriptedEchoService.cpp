#include "tests/icmp/ScriptedEchoService.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

namespace qx::test {

using namespace impl;

namespace {

class ScriptedEcho final : public Echo {
 public:
  ScriptedEcho(shared_ptr<EchoScript> script, string address)
      : mScript(std::move(script)), mAddress(std::move(address)) {
    ++mScript->openEchoes;
  }
  ~ScriptedEcho() override { --mScript->openEchoes; }

  uint32 send(const EchoOptions& options) override {
    EXPECT_FALSE(mPending) << "an echo was sent while another was under way";
    mScript->sent.push_back({mAddress, options.timeToLive, options.timeoutMs});
    mOutcome = mScript->answer(mScript->sent.back());
    mDueMs = mScript->nowMs + mOutcome.afterMs;
    mPending = mOutcome.sendError == 0;
    return mOutcome.sendError;
  }

  bool takeCompletion() override {
    if (!mPending || mScript->nowMs < mDueMs) return false;
    mPending = false;
    return true;
  }

  uint32 parseReplies(EchoReply& reply) override {
    reply = mOutcome.reply;
    return mOutcome.replies;
  }

  double getDueMs() const { return mDueMs; }

 private:
  shared_ptr<EchoScript> mScript;
  string mAddress;
  EchoOutcome mOutcome;
  double mDueMs = 0;
  bool mPending = false;
};

}  // namespace

vector<uint32> EchoScript::getTimesToLive() const {
  vector<uint32> result;
  for (const SentEcho& echo : sent) result.push_back(echo.timeToLive);
  return result;
}

EchoOpening ScriptedEchoService::open(const IpAddress& target, unique_ptr<Echo>& echo) {
  const EchoOpening opening = mScript->opening ? mScript->opening(target) : EchoOpening::Opened;
  if (opening == EchoOpening::Opened) {
    echo = std::make_unique<ScriptedEcho>(mScript, target.getAddressAsString(false));
  }
  return opening;
}

void ScriptedEchoService::wait(const vector<Echo*>& pending, uint32 limitMs) {
  mScript->waits.push_back(limitMs);
  if (mScript->onWait) mScript->onWait();
  double dueMs = std::numeric_limits<double>::infinity();
  for (const Echo* echo : pending) dueMs = std::min(dueMs, static_cast<const ScriptedEcho&>(*echo).getDueMs());
  if (std::isinf(dueMs)) {
    std::this_thread::sleep_for(std::chrono::milliseconds(limitMs));
  } else {
    mScript->nowMs = std::max(mScript->nowMs, dueMs);
  }
}

string ScriptedEchoService::getErrorText(uint32 code) const {
  const auto text = mScript->errorTexts.find(code);
  return text != mScript->errorTexts.end() ? text->second : string();
}

double ScriptedEchoService::getElapsedMs(const qxHighResTimer& timer) const {
  EXPECT_TRUE(timer.isRunning());
  return mScript->nowMs;
}

}  // namespace qx::test
