#include "netweft/couch/internal/DbListenRecord.h"

namespace qx::couch {

DbListenRecord::DbListenRecord(const string& db, int64 startSince, ChangesListener::Callback feedCallback,
                               void* feedUserData, ChangesListener::RetrieveContent feedContent, int32 heartbeatSec,
                               int32 reconnectDelaySec)
    : dbName(db),
      heartbeat(heartbeatSec),
      reconnectDelay(reconnectDelaySec),
      content(feedContent),
      callback(feedCallback),
      userData(feedUserData),
      handle(http::impl::CreateLastingEasyHandle()),
      since(db.empty() ? 0 : startSince) {
  param.dbName = db;
}

bool DbListenRecord::call(ChangesListener::CallbackMsg msg, const ChangesListener::CallbackParam& callParam) {
  if (callback != nullptr && !stopped) {
    const bool returned = exceptions.run(false, [&] {
      callback(msg, callParam, userData);
      return true;
    });
    if (!returned) return false;
  }
  return !stopped;
}

bool DbListenRecord::report(ChangesListener::CallbackMsg msg, const string& text) {
  param.docId.clear();
  param.revisions.clear();
  param.errorMessage = text;
  param.seq = since;
  param.deleted = false;
  return call(msg, param);
}

bool DbListenRecord::fail(ChangesListener::CallbackMsg msg, const string& text) {
  const bool goOn = report(msg, text);
  waitBeforeRetry();
  return goOn;
}

void DbListenRecord::waitBeforeRetry() noexcept {
  retryTimer.start();
  state = LS_WaitBeforeRetry;
}

}  // namespace qx::couch
