#pragma once

#include "netweft/couch/ChangesListener.h"

#include <functional>
#include <ostream>

namespace qx::test {

/// One call of a feed's callback.
struct FeedEvent {
  couch::ChangesListener::CallbackMsg msg;
  couch::ChangesListener::CallbackParam param;

  bool operator==(const FeedEvent& other) const {
    return msg == other.msg && param.dbName == other.param.dbName && param.docId == other.param.docId &&
           param.revisions == other.param.revisions && param.errorMessage == other.param.errorMessage &&
           param.seq == other.param.seq && param.deleted == other.param.deleted;
  }
};

inline std::ostream& operator<<(std::ostream& out, const FeedEvent& event) {
  out << "{" << couch::ChangesListener::CallbackMsgToString(event.msg) << " db \"" << event.param.dbName << "\" doc \""
      << event.param.docId << "\" revisions";
  for (const string& revision : event.param.revisions) out << " " << revision;
  return out << " error \"" << event.param.errorMessage << "\" seq " << event.param.seq
             << (event.param.deleted ? " deleted}" : "}");
}

/// An event without a document: what a feed reports about itself.
inline FeedEvent Event(couch::ChangesListener::CallbackMsg msg, const string& db, int64 seq, const string& error = "") {
  return {msg, {db, "", {}, error, seq, false}};
}

inline FeedEvent Change(const string& db, int64 seq, const string& id, const vector<string>& revisions,
                        bool deleted = false) {
  return {couch::ChangesListener::CM_NewChange, {db, id, revisions, "", seq, deleted}};
}

/// Keeps what a feed's callback is told; `onEvent`, if set, runs in the callback's place behind that.
struct FeedRecorder {
  static void Record(couch::ChangesListener::CallbackMsg msg, const couch::ChangesListener::CallbackParam& param,
                     void* userData) {
    FeedRecorder& self = *static_cast<FeedRecorder*>(userData);
    self.events.push_back({msg, param});
    if (self.onEvent != nullptr) self.onEvent(self.events.back());
  }

  uint64 count(couch::ChangesListener::CallbackMsg msg) const {
    uint64 found = 0;
    for (const FeedEvent& event : events) found += event.msg == msg ? 1u : 0u;
    return found;
  }

  vector<FeedEvent> events;
  std::function<void(const FeedEvent&)> onEvent;
};

}  // namespace qx::test
