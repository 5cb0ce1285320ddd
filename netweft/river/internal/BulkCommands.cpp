#include "netweft/river/internal/BulkCommands.h"

#include "netweft/base/json/JsonStreamer.h"
#include "netweft/base/system/qxIoDevice.h"

#include <string_view>

namespace qx::couch {

using json::JsonStreamer;

namespace {

constexpr std::string_view sIndexOpening = R"({"index":{"_id":")";
constexpr std::string_view sDeleteOpening = R"({"delete":{"_id":")";
constexpr std::string_view sClosing = "\"}}\n";

void WriteHeader(qxIoDevice& out, std::string_view opening, const string& id) {
  const string escaped = JsonStreamer::ConvertToJsonString(id);
  out.writeBytes(opening.data(), opening.size());
  out.writeBytes(escaped.data(), escaped.size());
  out.writeBytes(sClosing.data(), sClosing.size());
}

}  // namespace

uint64 IndexCommandBytes(const string& id, uint64 documentSize) {
  return sIndexOpening.size() + JsonStreamer::ConvertToJsonStringSize(id) + sClosing.size() + documentSize + 1;
}

uint64 DeleteCommandBytes(const string& id) {
  return sDeleteOpening.size() + JsonStreamer::ConvertToJsonStringSize(id) + sClosing.size();
}

void WriteIndexHeader(qxIoDevice& out, const string& id) { WriteHeader(out, sIndexOpening, id); }

void WriteDeleteHeader(qxIoDevice& out, const string& id) { WriteHeader(out, sDeleteOpening, id); }

}  // namespace qx::couch
