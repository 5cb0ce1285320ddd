#pragma once

#include "netweft/base/system/qxTypes.h"

namespace qx::couch {

/// Where a feed stands. "Done" is the end of its transfer, "tick" a pass of `updateListener`.
///
///   state                  left by
///   LS_NeedUpdateSeq       tick: the request is armed, to LS_FetchingUpdateSeq; it cannot be, to LS_WaitBeforeRetry
///   LS_FetchingUpdateSeq   done: to LS_NeedConnect, or to LS_WaitBeforeRetry
///   LS_NeedConnect         tick: the request is armed, to LS_Connecting; it cannot be, to LS_WaitBeforeRetry
///   LS_Connecting          blank header line: to LS_Listening; done: to LS_NeedConnect or LS_WaitBeforeRetry
///   LS_Listening           done: to LS_NeedConnect or LS_WaitBeforeRetry; bad sequence or error line: to
///                          LS_WaitBeforeRetry
///   LS_WaitBeforeRetry     tick, after the delay: to LS_NeedUpdateSeq or LS_NeedConnect
enum ListenState : int32 {
  LS_Idle = 0,               ///< being set up
  LS_NeedUpdateSeq = 1,      ///< the start sequence must be read
  LS_FetchingUpdateSeq = 2,  ///< the GET of the database is in flight
  LS_NeedConnect = 3,        ///< the feed must be requested
  LS_Connecting = 4,         ///< the feed is requested, its response headers are not complete
  LS_Listening = 5,          ///< feed lines arrive
  LS_WaitBeforeRetry = 6,    ///< waits for the reconnect delay
};

}  // namespace qx::couch
