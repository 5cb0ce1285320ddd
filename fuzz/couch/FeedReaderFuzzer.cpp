#include "fuzz/Input.h"
#include "fuzz/JsonMap.h"
#include "fuzz/Pieces.h"
#include "fuzz/Require.h"
#include "fuzz/Target.h"
#include "netweft/couch/internal/FeedReader.h"

#include <stdexcept>

/// A feed, however it is cut, gives the same messages up to the one that ends it. Heartbeats aside: how many of those
/// there are is a matter of the pieces. Lines behind the one that ends a feed are seen only when they came in the same
/// piece. And the feed of a database gives each line that tells a change. The first byte chooses the kind of feed, the
/// second where to cut.
namespace qx::fuzz {
namespace {

using couch::ChangesListener;
using couch::DbListenRecord;

struct Outcome {
  bool operator==(const Outcome& other) const = default;

  vector<string> messages;
  vector<string> changes;  ///< of the messages those that are changes: sequence and identifier
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
  if (msg == ChangesListener::CM_NewChange) outcome.changes.push_back(std::to_string(param.seq) + " " + param.docId);
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

/// What the lines of a database's feed tell, up to the one that ends it.
vector<string> ListChanges(Input feed) {
  vector<string> changes;
  while (feed.hasLine()) {
    qxVariantMapImpl line;
    if (!ReadJson(feed.takeLine(), line)) continue;
    const bool isChange = line.contains("seq");
    const int64 seq = line.getValue("seq", -1).toInteger();
    if (isChange ? seq < 0 : line.contains("error")) break;
    if (isChange) changes.push_back(std::to_string(seq) + " " + line.getValue("id", "").getString());
  }
  return changes;
}

void CheckFeed(std::string_view bytes) {
  Input input(bytes);
  const string db = input.takeByte() % 2 == 0 ? "db" : "";
  const unsigned char cut = input.takeByte();
  const std::string_view feed = input.takeRest();
  RequireSameInPieces(feed, cut, [&db](const Pieces& pieces) { return Read(db, pieces); });
  if (!db.empty())
    Require(Read(db, {feed}).changes == ListChanges(Input(feed)), "each line that tells a change is told");
}

const Target sTarget("couch_feed", CheckFeed);

}  // namespace
}  // namespace qx::fuzz
