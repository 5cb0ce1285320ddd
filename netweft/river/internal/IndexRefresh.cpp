#include "netweft/river/internal/IndexRefresh.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/internal/FailPoint.h"
#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/http/HttpHelpers.h"
#include "netweft/http/internal/HttpStatus.h"
#include "netweft/river/internal/IndexMeta.h"
#include "netweft/river/internal/JsonExchange.h"

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
  if (!HttpHelpers::HttpPost(refresh.connection, refresh.es.toUrl(refresh.index.name, "_refresh", {}), string(),
                             http::sHttpOk, &result, nullptr, nullptr, refresh.cancelFlag)) {
    return FailUnlessCancelled(refresh, "Fail to refresh index ", error);
  }
  qxVariantMapImpl parsed;
  if (!json::Json2Variant::Convert(reply.data(), reply.size(), parsed)) parsed.clear();
  if (IntegerAt(parsed, "_shards/failed") == 0 && IntegerAt(parsed, "_shards/successful") != 0) return StepResult::Done;
  LogError() << "Fail to refresh index " << CutForLog(reply);
  return StepResult::Failed;
}

StepResult ReadMeta(const Refresh& refresh, qxVariantMapImpl& meta) {
  const Url url = refresh.es.toUrl(refresh.index.name, "_mapping", {});
  const JsonReply reply = GetJson(refresh.connection, url, refresh.cancelFlag);
  if (!reply.good) {
    return FailUnlessCancelled(refresh, "Fail to retrieve mapping ", refresh.connection.getLastErrorMsg());
  }
  meta = findIndexMeta(refresh.index.name, reply.map);
  if (!meta.empty() && meta.getString("creationdescriptor", "") == refresh.index.creationDescriptor) {
    return StepResult::Done;
  }
  LogError() << "Index " << refresh.index.name << " is not the one that was created for the river any more";
  return StepResult::Failed;
}

StepResult WriteMeta(const Refresh& refresh, qxVariantMapImpl& meta, uint64 sequence) {
  meta["lastrefreshseq"] = std::max(sequence, readLastRefreshSeq(meta));
  meta["lastrefreshdate"] = qxLog::GetTime();
  qxVariantMapImpl mapping;
  mapping["_meta"] = std::move(meta);
  const Url url = refresh.es.toUrl(refresh.index.name, "_doc", "_mapping", {});
  if (PutJson(refresh.connection, url, mapping, refresh.cancelFlag).good) return StepResult::Done;
  return FailUnlessCancelled(refresh, "Fail to update mapping ", refresh.connection.getLastErrorMsg());
}

}  // namespace

StepResult RefreshIndex(http::HttpConnection& connection, const elasticsearch::ESConnectionParameters& es,
                        const BatchIndex& index, uint64 sequence, const bool* cancelFlag) {
  const Refresh refresh{connection, es, index, cancelFlag};
  if (const StepResult result = PostRefresh(refresh); result != StepResult::Done) return result;
  impl::PassFailPoint("index-refreshed");
  qxVariantMapImpl meta;
  if (const StepResult result = ReadMeta(refresh, meta); result != StepResult::Done) return result;
  impl::PassFailPoint("sequence-read");
  return WriteMeta(refresh, meta, sequence);
}

}  // namespace qx::couch
