#include "fuzz/Input.h"
#include "fuzz/Pieces.h"
#include "fuzz/Target.h"
#include "netweft/couch/internal/FeedReader.h"

#include <stdexcept>

/// A feed, however it is cut, gives the same messages up to the one that ends it. Heartbeats aside: how many of those
/// there are is a matter of the pieces. Lines behind the one that ends a feed are seen only when they came in the same
/// piece. The first byte chooses the kind of feed, the second where to cut.
namespace qx::fuzz {
namespace {

using couch::ChangesListener;
using couch::DbListenRecord;

struct Outcome {
  bool operator==(const Outcome& other) const = default;

  vector<string> messages;
  bool isEnded = false;
  qx::int64 since = 0;
};

void RecordMessage(ChangesListener::CallbackMsg msg, const ChangesListener::CallbackParam& param, void* userData) {
  Outcome& outcome = *static_cast<Outcome*>(userData);
  if (msg == ChangesListener::CM_Heartbeat || outcome.isEnded) return;
  string text = ChangesListener::CallbackMsgToString(msg) + "|" + param.dbName + "|" + param.docId + "|" +
                param.errorMessage + "|" + std::to_string(param.seq) + (param.deleted ? "|deleted" : "");
  for (const string& revision : param.revisions) text += "|" + revision;
  outcome.messages.push_back(text);
  outcome.since = param.seq;
  outcome.isEnded =
      msg == ChangesListener::CM_ListenStopedDueToError || msg == ChangesListener::CM_ListenStopedDbMissing;
}

Outcome Read(const string& db, const Pieces& pieces) {
  Outcome outcome;
  DbListenRecord record(db, 0, RecordMessage, &outcome, ChangesListener::RC_ChangesOnly, 30, 1);
  record.state = couch::LS_Listening;
  try {
    for (const std::string_view piece : pieces) {
      if (!ReadFeed(record, piece.data(), piece.size())) break;
    }
  } catch (const std::out_of_range&) {
    outcome.isEnded = true;
  }
  return outcome;
}

void CheckFeed(std::string_view bytes) {
  Input input(bytes);
  const string db = input.takeByte() % 2 == 0 ? "db" : "";
  const unsigned char cut = input.takeByte();
  RequireSameInPieces(input.takeRest(), cut, [&db](const Pieces& pieces) { return Read(db, pieces); });
}

const Target sTarget("couch_feed", CheckFeed);

}  // namespace
}  // namespace qx::fuzz
