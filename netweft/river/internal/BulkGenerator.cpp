#include "netweft/river/internal/BulkGenerator.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/qxIoDeviceByteContainer.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/river/internal/BulkCommands.h"

#include <string_view>

namespace qx::couch {

namespace {

/// A body is written behind what stands in it already.
class BodyDevice final : public qxIoDeviceByteContainer<bytes> {
 public:
  explicit BodyDevice(bytes& body) : qxIoDeviceByteContainer<bytes>(&body) { seekp(0, SS_End); }
};

bool Parse(const bytes& document, qxVariantMapImpl& out) {
  return json::Json2Variant::Convert(document.data(), document.size(), out);
}

/// The document without the members that are never indexed, unless that would not fit.
void StripDocument(qxVariantMapImpl& parsed, bytes& document, uint64 maxSize) {
  parsed.remove("contents");
  parsed.remove("resources");
  bytes stripped;
  stripped.reserve(document.size());
  if (json::Json2Variant::Convert(parsed, stripped, false) && stripped.size() <= maxSize) document.swap(stripped);
}

/// An empty body with room for `size` bytes. Batches differ by a few bytes: room that is rounded up serves them all,
/// and the old storage is given back before the new one is asked for, so that the two never stand side by side.
void MakeRoom(bytes& body, uint64 size) {
  constexpr uint64 step = 1 << 20;
  body.clear();
  if (body.capacity() >= size) return;
  bytes().swap(body);
  body.reserve(static_cast<size_t>((size + step - 1) / step * step));
}

bool FailToParse(const ChangeRecord& record) {
  LogError() << "Fail to parse document " << record.id.toString();
  return false;
}

}  // namespace

bool RenameFirstId(bytes& document) {
  constexpr std::string_view name = "\"_id\"";
  const size_t found = std::string_view(document.data(), document.size()).find(name);
  if (found == std::string_view::npos) return false;
  document[found + 1] = '-';
  return true;
}

BulkGenerator::BulkGenerator(RiverBatch& batch, const RiverParameters& parameters, vector<bytes>& bodies)
    : mBatch(batch), mParameters(parameters), mBodies(bodies) {
  mBodies.resize(mBatch.indexes.size());
  for (bytes& body : mBodies) MakeRoom(body, mBatch.reservedBytes);
}

bool BulkGenerator::generate(ChangeRecord& record) {
  bool good = true;
  switch (record.action) {
    case CA_Index: good = generateIndex(record); break;
    case CA_Delete: generateDelete(record); break;
    case CA_Skip:
    case CA_Pending: break;
  }
  bytes().swap(record.body);
  return good;
}

bool BulkGenerator::generateIndex(ChangeRecord& record) {
  qxVariantMapImpl seenByFilter;
  const bool filtering = mParameters.documentFilter != nullptr;
  if (filtering && !Parse(record.body, seenByFilter)) return FailToParse(record);

  // The text changes only where a rename found something: otherwise it is already what a second parse would give.
  bool stripped = false;
  for (size_t i = 0; i < mBatch.indexes.size(); ++i) {
    if (filtering && !mParameters.documentFilter(seenByFilter, mBatch.indexes[i].name)) continue;
    const bool renamed = RenameFirstId(record.body);
    if (renamed || !stripped) {
      qxVariantMapImpl parsed;
      if (!Parse(record.body, parsed)) return FailToParse(record);
      StripDocument(parsed, record.body, mBatch.reservedBytes);
      stripped = true;
    }
    BodyDevice out(mBodies[i]);
    WriteIndexHeader(out, record.id.toString());
    out.writeBytes(record.body.data(), record.body.size());
    out.writeBytes("\n", 1);
    count(record);
  }
  // Without an index to write it to, a document that is no JSON is an error all the same.
  if (qxVariantMapImpl parsed; !filtering && !stripped && !Parse(record.body, parsed)) return FailToParse(record);
  return true;
}

void BulkGenerator::generateDelete(const ChangeRecord& record) {
  for (bytes& body : mBodies) {
    BodyDevice out(body);
    WriteDeleteHeader(out, record.id.toString());
    count(record);
  }
}

void BulkGenerator::count(const ChangeRecord& record) {
  ++mCommands;
  mBytes += record.commandBytes;
}

}  // namespace qx::couch
