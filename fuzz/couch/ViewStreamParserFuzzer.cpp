#include "netweft/couch/internal/ViewStreamParser.h"

#include "fuzz/Input.h"
#include "fuzz/Pieces.h"
#include "fuzz/Target.h"

/// A view's response, however it is cut, gives the same rows and ends the same way. The first byte chooses how many
/// rows the callback takes, the second where to cut.
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

void CheckView(std::string_view bytes) {
  Input input(bytes);
  const size_t wanted = input.takeByte();
  const unsigned char cut = input.takeByte();
  RequireSameInPieces(input.takeRest(), cut, [wanted](const Pieces& pieces) { return Scan(wanted, pieces); });
}

const Target sTarget("couch_view", CheckView);

}  // namespace
}  // namespace qx::fuzz
