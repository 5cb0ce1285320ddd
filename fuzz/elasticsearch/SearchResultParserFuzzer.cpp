#include "fuzz/Input.h"
#include "fuzz/Pieces.h"
#include "fuzz/Require.h"
#include "fuzz/Target.h"
#include "netweft/elasticsearch/internal/WorkerResultParser.h"
#include "tests/elasticsearch/RecordingParser.h"

/// A search's reply gives the same hits and the same end wherever it is cut, and a batch of identifiers gets each of
/// them once at most. The first byte chooses where to cut.
namespace qx::fuzz {
namespace {

using namespace elasticsearch;

void CheckBatch(std::string_view reply) {
  const map<string, string> asked = {{"1", ""}, {"a/1", ""}};
  map<string, string> batch = asked;
  map<string, int> received;
  WorkerResultParser(batch, [&](const string& id, const string&) { ++received[id]; }).read(string(reply));
  for (const auto& [id, times] : received) {
    Require(asked.contains(id) && !batch.contains(id), "only what was asked for is received, and leaves the batch");
    Require(times == 1, "what was asked for is received once");
  }
}

void CheckReply(std::string_view bytes) {
  Input input(bytes);
  const unsigned char cut = input.takeByte();
  const std::string_view reply = input.takeRest();
  RequireSameInPieces(reply, cut, test::ReadChunks);
  CheckBatch(reply);
}

const Target sTarget("search_result", CheckReply);

}  // namespace
}  // namespace qx::fuzz
