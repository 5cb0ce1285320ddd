#include "netweft/river/internal/IndexRefresh.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/http/HttpHelpers.h"

#include <algorithm>

namespace qx::couch {

using http::HttpHelpers;

namespace {

/// One index on its way through the steps; all references are the caller's.
struct Refresh {
  http::HttpConnection& connection;
  const elasticsearch::ESConnectionParameters& es;
  const BatchIndex& index;
  const bool* cancelFlag;
};

StepResult FailUnlessCancelled(const Refresh& refresh, const char* what, const string& error) {
  if (ReadFlag(refresh.cancelFlag)) return StepResult::Cancelled;
  LogError() << what << error;
  return StepResult::Failed;
}

int64 IntegerAt(const qxVariantMapImpl& map, std::string_view path) {
  const qxVariant* value = map.findValuePath(path, '/');
  return value == nullptr ? 0 : value->toInteger();
}

StepResult PostRefresh(const Refresh& refresh) {
  string reply;
  string error;
  HttpHelpers::HttpResult result;
  result.content = &reply;
  result.errorMessage = &error;
  if (!HttpHelpers::HttpPost(refresh.connection, refresh.es.toUrl(refresh.index.name, "_refresh", {}), string(), 200,
                             &result, nullptr, nullptr, refresh.cancelFlag)) {
    return FailUnlessCancelled(refresh, "Fail to refresh index ", error);
  }
  qxVariantMapImpl parsed;
  if (!json::Json2Variant::Convert(reply.data(), reply.size(), parsed)) parsed.clear();
  if (IntegerAt(parsed, "_shards/failed") == 0 && IntegerAt(parsed, "_shards/successful") != 0) return StepResult::Done;
  LogError() << "Fail to refresh index " << CutForLog(reply);
  return StepResult::Failed;
}

StepResult ReadMeta(const Refresh& refresh, qxVariantMapImpl& meta) {
  string reply;
  string error;
  HttpHelpers::HttpResult result;
  result.errorMessage = &error;
  if (!HttpHelpers::HttpGetJson(refresh.connection, refresh.es.toUrl(refresh.index.name, "_mapping", {}), reply, &result,
                                nullptr, nullptr, refresh.cancelFlag)) {
    return FailUnlessCancelled(refresh, "Fail to retrieve mapping ", error);
  }
  qxVariantMapImpl parsed;
  if (!json::Json2Variant::Convert(reply.data(), reply.size(), parsed)) parsed.clear();
  const qxVariant* found = parsed.findValuePath(refresh.index.name + "/mappings/_doc/_meta", '/');
  if (found != nullptr) meta = found->toMap();
  if (!meta.empty() && meta.getString("creationdescriptor", "") == refresh.index.creationDescriptor) {
    return StepResult::Done;
  }
  LogError() << "Index " << refresh.index.name << " is not the one that was created for the river any more";
  return StepResult::Failed;
}

StepResult WriteMeta(const Refresh& refresh, qxVariantMapImpl& meta, uint64 sequence) {
  const uint64 found = static_cast<uint64>(std::max<int64>(0, meta.getInteger("lastrefreshseq", 0)));
  meta["lastrefreshseq"] = std::max(sequence, found);
  meta["lastrefreshdate"] = qxLog::GetTime();
  qxVariantMapImpl mapping;
  mapping["_meta"] = std::move(meta);
  string body;
  json::Json2Variant::Convert(mapping, body, false);
  string error;
  HttpHelpers::HttpResult result;
  result.errorMessage = &error;
  if (!HttpHelpers::HttpPutJson(refresh.connection, refresh.es.toUrl(refresh.index.name, "_doc", "_mapping", {}),
                                body.data(), body.size(), 200, &result, nullptr, nullptr, refresh.cancelFlag)) {
    return FailUnlessCancelled(refresh, "Fail to update mapping ", error);
  }
  return StepResult::Done;
}

}  // namespace

StepResult RefreshIndex(http::HttpConnection& connection, const elasticsearch::ESConnectionParameters& es,
                        const BatchIndex& index, uint64 sequence, const bool* cancelFlag) {
  const Refresh refresh{connection, es, index, cancelFlag};
  if (const StepResult result = PostRefresh(refresh); result != StepResult::Done) return result;
  qxVariantMapImpl meta;
  if (const StepResult result = ReadMeta(refresh, meta); result != StepResult::Done) return result;
  return WriteMeta(refresh, meta, sequence);
}

}  // namespace qx::couch
