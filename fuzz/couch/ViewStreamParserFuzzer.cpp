#include "fuzz/couch/CutInput.h"
#include "netweft/base/system/qxLog.h"
#include "netweft/couch/internal/ViewStreamParser.h"

/// A view's response, however it is cut, gives the same rows and ends the same way.
namespace qx::fuzz {
namespace {

struct Outcome {
  bool operator==(const Outcome& other) const = default;

  vector<string> rows;
  bool isComplete = true;
};

bool RecordRow(const string& id, qxVariant& key, qxVariant& value, void* userData) {
  vector<string>& rows = static_cast<Outcome*>(userData)->rows;
  rows.push_back(id + "|" + key.toString() + "|" + value.toString());
  return rows.size() < 50;
}

Outcome Scan(const vector<std::string_view>& pieces) {
  Outcome outcome;
  couch::ViewStreamParser parser(RecordRow, &outcome, nullptr);
  for (const std::string_view piece : pieces) {
    outcome.isComplete = parser.scan(piece.data(), piece.size());
    if (!outcome.isComplete) break;
  }
  return outcome;
}

}  // namespace
}  // namespace qx::fuzz

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  using namespace qx::fuzz;
  qx::qxLog::editPtr()->enableErrors(false);
  const CutInput input(data, size);
  const Outcome whole = Scan(input.asOnePiece());
  Require(Scan(input.asTwoPieces()) == whole, "a view in two pieces gives the rows of the whole");
  Require(Scan(input.asSingleBytes()) == whole, "a view byte by byte gives the rows of the whole");
  return 0;
}
