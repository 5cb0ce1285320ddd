#pragma once

#include "tests/support/ScriptedServer.h"

#include <optional>

namespace qx::couch::test {

/// What a test wants of a stand-in server for requests of one kind, "PUT /things", in place of the usual answer or on
/// top of it. No lock of its own.
class RequestScript {
 public:
  using Gate = qx::test::Gate;
  using Reply = qx::test::Reply;

  /// The answer to the next request of that kind, which is then not done.
  void answer(const string& kind, Reply reply) { mOnce[kind].push_back(std::move(reply)); }
  /// The answer to all requests of that kind, until `answerUsually`.
  void answerAlways(const string& kind, Reply reply) { mAlways[kind] = std::move(reply); }
  void answerUsually(const string& kind) { mAlways.erase(kind); }

  /// The next request of that kind is done as usual, and its answer waits for the gate, at which it arrives.
  Gate hold(const string& kind) {
    mGates.emplace_back();
    mHolds[kind].push_back(mGates.back());
    return mGates.back();
  }
  void openGates() {
    for (const Gate& gate : mGates) gate.open();
    mHolds.clear();
  }

  std::optional<Reply> take(const string& kind) {
    if (list<Reply>& once = mOnce[kind]; !once.empty()) {
      Reply reply = once.front();
      once.pop_front();
      return reply;
    }
    const auto always = mAlways.find(kind);
    if (always == mAlways.end()) return std::nullopt;
    return always->second;
  }

  Reply finish(const string& kind, Reply usual) {
    list<Gate>& holds = mHolds[kind];
    if (holds.empty()) return usual;
    Reply late;
    late.waitFor(holds.front());
    holds.pop_front();
    for (const Reply::Step& step : usual.getSteps()) late.send(step.text + step.body);
    return late;
  }

 private:
  map<string, list<Reply>> mOnce;
  map<string, Reply> mAlways;
  map<string, list<Gate>> mHolds;
  list<Gate> mGates;
};

/// "PUT /things", without the query.
inline string KindOf(const qx::test::Request& request) {
  return request.method + " " + request.target.substr(0, request.target.find('?'));
}

inline uint64 CountKind(const qx::test::ScriptedServer& server, const string& kind) {
  uint64 count = 0;
  const vector<qx::test::Request> requests = server.getRequests();
  for (const qx::test::Request& request : requests) count += KindOf(request) == kind ? 1u : 0u;
  return count;
}

}  // namespace qx::couch::test
