#include "netweft/couch/internal/ViewStreamParser.h"

#include "fuzz/Input.h"
#include "fuzz/JsonMap.h"
#include "fuzz/Pieces.h"
#include "fuzz/Require.h"
#include "fuzz/Target.h"

/// A view's response, however it is cut, gives the same rows and ends the same way; and one that is JSON gives the rows
/// that it holds. The first byte chooses how many rows the callback takes, the second where to cut.
namespace qx::fuzz {
namespace {

struct Outcome {
  bool operator==(const Outcome& other) const = default;

  size_t wanted = 0;
  vector<string> rows;
  bool isComplete = true;
};

bool RecordRow(const string& id, qxVariant& key, qxVariant& value, void* userData) {
  Outcome& outcome = *static_cast<Outcome*>(userData);
  outcome.rows.push_back(id + "|" + key.toString() + "|" + value.toString());
  return outcome.rows.size() < outcome.wanted;
}

Outcome Scan(size_t wanted, const Pieces& pieces) {
  Outcome outcome;
  outcome.wanted = wanted;
  couch::ViewStreamParser parser(RecordRow, &outcome, nullptr);
  for (const std::string_view piece : pieces) {
    outcome.isComplete = parser.scan(piece.data(), piece.size());
    if (!outcome.isComplete) break;
  }
  return outcome;
}

/// Rows are the objects in the lists of the outermost object, up to one that lacks a member.
Outcome ListRows(size_t wanted, const qxVariantMapImpl& view) {
  Outcome outcome;
  outcome.wanted = wanted;
  for (const auto& [name, member] : view) {
    for (const qxVariant& element : member.getList()) {
      if (element.getType() != qxVariant::VT_Map) continue;
      qxVariantMapImpl row = element.getMap();
      outcome.isComplete = row.contains("id") && row.contains("key") && row.contains("value") &&
                           RecordRow(row.getString("id", ""), row["key"], row["value"], &outcome);
      if (!outcome.isComplete) return outcome;
    }
  }
  return outcome;
}

void CheckView(std::string_view bytes) {
  Input input(bytes);
  const size_t wanted = input.takeByte();
  const unsigned char cut = input.takeByte();
  const std::string_view view = input.takeRest();
  RequireSameInPieces(view, cut, [wanted](const Pieces& pieces) { return Scan(wanted, pieces); });
  qxVariantMapImpl map;
  if (!ReadJson(view, map)) return;
  // Written anew, since of two members with one name the scanner sees both.
  Require(Scan(wanted, {WriteJson(map)}) == ListRows(wanted, map), "a view gives the rows that it holds");
}

const Target sTarget("couch_view", CheckView);

}  // namespace
}  // namespace qx::fuzz
