#pragma once

#include "netweft/base/system/qxHighResTimer.h"
#include "netweft/couch/ChangesListener.h"
#include "netweft/couch/internal/FeedBuffer.h"
#include "netweft/couch/internal/ListenState.h"
#include "netweft/http/internal/CurlEasy.h"
#include "netweft/http/internal/ExceptionSlot.h"

#include <array>

namespace qx::couch {

/// One feed: what was asked for, where it stands, and its easy handle, which is made once and kept through all
/// reconnections. What happens to it is decided in ListenMachine and FeedReader. One thread; its address stays, since
/// the handle points here.
struct DbListenRecord {
  /// Makes the handle without setting it up (`SetUpFeedHandle` does) and leaves `LS_Idle`. Times are in seconds.
  DbListenRecord(const string& db, int64 startSince, ChangesListener::Callback feedCallback, void* feedUserData,
                 ChangesListener::RetrieveContent feedContent, int32 heartbeatSec, int32 reconnectDelaySec);
  DbListenRecord(const DbListenRecord&) = delete;
  DbListenRecord& operator=(const DbListenRecord&) = delete;

  bool isServerWide() const noexcept { return dbName.empty(); }

  /// Calls the callback, if there is one and the feed was not stopped. False when the transfer is to end: the callback
  /// threw, which stays in `exceptions`, or it stopped the feed.
  bool call(ChangesListener::CallbackMsg msg, const ChangesListener::CallbackParam& callParam);

  /// `call` with the record's own parameters, as an event: an error text or nothing, and `since`.
  bool report(ChangesListener::CallbackMsg msg, const string& text = {});

  /// Reports, and makes the feed wait before it tries again.
  bool fail(ChangesListener::CallbackMsg msg, const string& text);

  void waitBeforeRetry() noexcept;

  http::impl::CurlStringList headers;
  std::array<char, CURL_ERROR_SIZE> errorBuffer{};  ///< libcurl's to write; the texts come from `curl_easy_strerror`
  FeedBuffer receiveBuffer;
  const string dbName;  ///< empty: the server-wide feed
  const int32 heartbeat;
  const int32 reconnectDelay;
  qxHighResTimer attemptTimer;  ///< never started, so that each attempt goes ahead at once
  qxHighResTimer retryTimer;
  ListenState state = LS_Idle;
  const ChangesListener::RetrieveContent content;
  ChangesListener::CallbackParam param;  ///< reused for all calls; `dbName` is set once
  const ChangesListener::Callback callback;
  void* const userData;
  http::impl::CurlEasyPtr handle;
  int64 since;            ///< the last sequence seen; negative: not known yet
  bool activity = false;  ///< the server said something since the last tick

  bool stopped = false;  ///< no longer registered; kept because one of its functions may be on the stack
  bool refused = false;  ///< refused bytes at a moment when libcurl does not end a transfer for it
  http::impl::ExceptionSlot exceptions;  ///< what the callback threw, for the caller of `updateListener`
};

}  // namespace qx::couch
