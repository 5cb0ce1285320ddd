#include "netweft/river/internal/BulkGenerator.h"

#include "fuzz/Input.h"
#include "fuzz/JsonMap.h"
#include "fuzz/Require.h"
#include "fuzz/Target.h"
#include "netweft/river/internal/BulkCommands.h"

/// Whatever a document and its identifier hold, a bulk body has the one command for it: two lines of JSON, a header
/// with the identifier and the document without its members that are never indexed. So no document can smuggle in a
/// command. The first byte is odd for a deletion, then come a line with the identifier, and the document.
namespace qx::fuzz {
namespace {

using namespace couch;

qxVariantMapImpl TakeJsonLine(Input& body) {
  qxVariantMapImpl map;
  Require(ReadJson(body.takeLine(), map), "a line of a bulk body is a JSON object");
  return map;
}

void CheckHeader(qxVariantMapImpl header, const char* command, const string& id) {
  qxVariantMapImpl expected;
  expected[command].editMap()["_id"] = id;
  Require(WriteJson(header) == WriteJson(expected), "a header names the document and the command");
}

void CheckBody(const bytes& written, const ChangeRecord& record) {
  Require(!written.empty() && written.back() == '\n', "a bulk body ends with a line feed");
  Input body({written.data(), written.size()});
  CheckHeader(TakeJsonLine(body), record.action == CA_Delete ? "delete" : "index", record.id.toString());
  if (record.action == CA_Index) {
    const qxVariantMapImpl document = TakeJsonLine(body);
    Require(!document.contains("contents") && !document.contains("resources"), "what is not indexed is left out");
  }
  Require(body.isEmpty(), "nothing follows a command");
}

void Check(std::string_view data) {
  Input input(data);
  ChangeRecord record;
  record.action = input.takeByte() % 2 == 0 ? CA_Index : CA_Delete;
  record.id = DocumentId(input.takeLine());
  const std::string_view document = input.takeRest();
  record.body.assign(document.begin(), document.end());

  RiverBatch batch;
  batch.indexes = {{"first", ""}, {"second", ""}};
  batch.reservedBytes = IndexCommandBytes(record.id.toString(), document.size());
  record.commandBytes = batch.reservedBytes;
  const RiverParameters parameters;
  static vector<bytes> bodies;  // as in a Worker, where their storage serves batch after batch
  BulkGenerator generator(batch, parameters, bodies);
  if (!generator.generate(record)) {
    qxVariantMapImpl map;
    Require(!ReadJson(document, map), "a document that is JSON is taken");
    return;
  }
  Require(bodies.size() == batch.indexes.size(), "each index has a body");
  for (const bytes& body : bodies) {
    Require(body.size() <= batch.reservedBytes, "a body keeps within its bytes");
    CheckBody(body, record);
  }
}

const Target sTarget("bulk_body", Check);

}  // namespace
}  // namespace qx::fuzz
