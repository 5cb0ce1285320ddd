#include "netweft/couch/internal/FeedReader.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxStringUtils.h"
#include "netweft/couch/internal/FeedLine.h"

namespace qx::couch {

namespace {

bool ReportChange(DbListenRecord& record, const qxVariantMapImpl& line, int64 seq) {
  if (record.callback != nullptr) ReadChange(line, record.param);
  record.since = seq;  // not before: a change that could not be read for want of memory comes again
  if (record.callback == nullptr) return true;
  record.param.errorMessage.clear();
  record.param.seq = seq;
  return record.call(ChangesListener::CM_NewChange, record.param);
}

bool HandleDatabaseLine(DbListenRecord& record, const qxVariantMapImpl& line) {
  int64 seq = 0;
  switch (ClassifyDatabaseLine(line, seq)) {
    case DLK_Change: return ReportChange(record, line, seq);
    case DLK_InvalidSeq:
      return record.fail(ChangesListener::CM_ListenStopedDueToError,
                         "Invalid seq id in change feed : '" + qxStringUtils::fromInt64(seq, 1) + "'");
    case DLK_DatabaseMissing: return record.fail(ChangesListener::CM_ListenStopedDbMissing, ReadErrorText(line));
    case DLK_Error: return record.fail(ChangesListener::CM_ListenStopedDueToError, ReadErrorText(line));
    case DLK_Nothing: break;
  }
  return true;
}

bool HandleServerLine(DbListenRecord& record, const qxVariantMapImpl& line) {
  ChangesListener::CallbackMsg msg{};
  ChangesListener::CallbackParam param;
  return !ReadServerEvent(line, msg, param) || record.call(msg, param);
}

bool HandleLine(DbListenRecord& record, std::string_view text) {
  qxVariantMapImpl line;
  // The length of a line counts 32 bits.
  if (!json::Json2Variant::Convert(text.data(), static_cast<uint32>(text.size()), line)) {
    LogError() << "Invalid json in change feed";
    return true;
  }
  return record.isServerWide() ? HandleServerLine(record, line) : HandleDatabaseLine(record, line);
}

}  // namespace

bool ReadFeed(DbListenRecord& record, const char* data, size_t n) {
  record.receiveBuffer.append(data, n);
  record.receiveBuffer.skipLineFeeds();
  bool anyLine = false;
  std::string_view text;
  // What stands behind a line that stops the feed was received too, and is acted on.
  while (record.receiveBuffer.takeLine(text)) {
    anyLine = true;
    if (!HandleLine(record, text)) return false;
  }
  if (!anyLine && record.receiveBuffer.view().empty() && !record.report(ChangesListener::CM_Heartbeat)) return false;
  return record.state != LS_WaitBeforeRetry;
}

}  // namespace qx::couch
