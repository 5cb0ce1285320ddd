#include "netweft/river/internal/BulkPosting.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/http/HttpHelpers.h"
#include "netweft/http/internal/HttpStatus.h"

namespace qx::couch {

using http::HttpHelpers;

namespace {

/// Only the server's own `false` denies errors. A gateway may answer in its place, with a text or a number under this
/// name, and has indexed nothing.
bool DeniesErrors(const qxVariantMapImpl& reply) {
  const auto errors = reply.find("errors");
  return errors != reply.end() && errors->second.getType() == qxVariant::VT_Bool && !errors->second.toBool();
}

bool IsAccepted(const qxVariantMapImpl& outcome) {
  // A delete of a document that the index never had is answered with 404.
  const int64 status = outcome.getInteger("status", 0);
  return !outcome.contains("error") &&
         (status == http::sHttpOk || status == http::sHttpCreated || status == http::sHttpNotFound);
}

bool LogItem(const qxVariant& item, const string& reply) {
  if (item.getType() != qxVariant::VT_Map || item.getMap().size() != 1 ||
      item.getMap().begin()->second.getType() != qxVariant::VT_Map) {
    LogError() << "Unexpected bulk result " << CutForLog(reply);
    return false;
  }
  const auto& [operation, outcome] = *item.getMap().begin();
  if (IsAccepted(outcome.getMap())) return true;
  string text;
  json::Json2Variant::Convert(outcome.getMap(), text, false);
  LogError() << "Error during bulk operation '" << operation << "' " << CutForLog(text);
  return true;
}

bool LogNoItems(const qxVariantListImpl& items, const string& reply) {
  if (items.empty()) LogError() << "Unexpected bulk result " << CutForLog(reply);
  return items.empty();
}

}  // namespace

StepResult PostBulk(http::HttpConnection& connection, const elasticsearch::ESConnectionParameters& es,
                    const string& indexName, const bytes& body, uint64 reservedBytes, const bool* cancelFlag) {
  if (body.empty()) return StepResult::Done;
  if (body.size() > reservedBytes) {
    LogError() << "Fail to index document, because document is too large";
    return StepResult::TooLarge;
  }
  static const list<string> sHeaders = {"Content-Type:application/x-ndjson"};
  string reply;
  string error;
  HttpHelpers::HttpResult result;
  result.content = &reply;
  result.errorMessage = &error;
  if (!HttpHelpers::HttpPost(body.data(), body.size(), connection, es.toUrl(indexName, "_doc", "_bulk", {}),
                             http::sHttpOk, &result, nullptr, &sHeaders, cancelFlag)) {
    if (ReadFlag(cancelFlag)) return StepResult::Cancelled;
    LogError() << "Fail to index documents " << error << " " << CutForLog(reply);
    return StepResult::Failed;
  }
  return JudgeBulkReply(reply, cancelFlag);
}

StepResult JudgeBulkReply(const string& reply, const bool* cancelFlag) {
  qxVariantMapImpl parsed;
  if (!json::Json2Variant::Convert(reply.data(), reply.size(), parsed)) parsed.clear();
  if (DeniesErrors(parsed)) return StepResult::Done;

  const auto items = parsed.find("items");
  const qxVariantListImpl& list = items == parsed.end() ? qxVariant().getList() : items->second.getList();
  if (LogNoItems(list, reply)) return StepResult::Failed;
  for (const qxVariant& item : list) {
    if (ReadFlag(cancelFlag)) return StepResult::Cancelled;
    if (!LogItem(item, reply)) break;
  }
  return StepResult::Failed;
}

}  // namespace qx::couch
