#pragma once

#include "netweft/base/system/qxThread.h"
#include "netweft/base/system/qxTimer.h"
#include "netweft/couch/ChangesListener.h"
#include "tests/couch/FeedRecorder.h"
#include "tests/http/LibraryFixture.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScriptedServer.h"

#include <gmock/gmock.h>

namespace qx::test {

/// A listener and a scripted server for it to follow.
class ListenerFixture : public LibraryFixture {
 protected:
  using Listener = couch::ChangesListener;

  static constexpr int64 sTimeoutMs = 60000;
  static constexpr long sNoDelay = -1;  ///< a reconnect delay that is over at once

  bool start(const string& db, long long since = 3, long reconnectDelay = sNoDelay) {
    return start(listener, db, since, reconnectDelay);
  }
  bool start(Listener& which, const string& db, long long since, long reconnectDelay = sNoDelay) {
    return which.startListeningDb(db, since, FeedRecorder::Record, &recorder, Listener::RC_ChangesOnly, 60, 30,
                                  reconnectDelay);
  }

  /// Drives a listener, one pass at a time, until the condition holds; false when that took too long.
  template <class Condition>
  [[nodiscard]] static bool Pump(Listener& which, Condition condition) {
    for (const qxTimer timer(true); timer.getElapsedMs() < sTimeoutMs; qxThread::msleep(1)) {
      which.updateListener(0);
      if (condition()) return true;
    }
    return false;
  }
  template <class Condition>
  [[nodiscard]] bool pumpUntil(Condition condition) {
    return Pump(listener, condition);
  }
  [[nodiscard]] bool pumpUntilEvents(uint64 count) {
    return pumpUntil([this, count] { return recorder.events.size() >= count; });
  }
  [[nodiscard]] bool pumpUntil(Listener::CallbackMsg msg, uint64 count = 1) {
    return pumpUntil([this, msg, count] { return recorder.count(msg) >= count; });
  }
  [[nodiscard]] bool pumpUntilRequests(uint64 count) {
    return pumpUntil([this, count] { return server.getRequestCount() >= count; });
  }

  /// Requests arrive and are not answered, so that nothing follows a start.
  void answerNothing() {
    server.setHandler([](const Request&) { return Reply::Silent(); });
  }

  static Reply Feed() { return Reply::Stream(200, {{"Content-Type", "application/json"}}); }
  static string ChangeLine(int64 seq, const string& id) {
    return "{\"seq\":" + std::to_string(seq) + ",\"id\":\"" + id + "\",\"changes\":[{\"rev\":\"1-a\"}]}\n";
  }
  static FeedEvent Starting(const string& db, int64 seq) { return Event(Listener::CM_StartListening, db, seq); }
  static FeedEvent Listening(const string& db, int64 seq) { return Event(Listener::CM_Listening, db, seq); }

  ScriptedServer server;
  LogCapture log;
  FeedRecorder recorder;
  Listener listener{couch::CouchConnectionParameters(Url(server.getUrl("")))};
};

}  // namespace qx::test
