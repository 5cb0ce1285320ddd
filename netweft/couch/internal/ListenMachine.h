#pragma once

#include "netweft/couch/internal/DbListenRecord.h"

/// The decisions about a feed, apart from its transfers: an event in, the next thing to do out. `ChangesListenerCore`
/// does the things and brings the events.
namespace qx::couch {

/// What the driver is to do after a tick.
enum ListenAction : int32 {
  LA_Nothing,
  LA_RequestUpdateSeq,  ///< arm the GET of the database, then tell `OnArmed`
  LA_RequestFeed,       ///< arm the feed's request, then tell `OnArmed`
};

/// Whether a wait of `limitSec` is over: whole seconds are compared, and more than the limit must have passed, so a
/// limit of 1 is a wait of 2 seconds.
bool IsWaitOver(double elapsedSec, int32 limitSec) noexcept;

/// Out of `LS_Idle`.
void OnSetUp(DbListenRecord& record) noexcept;

/// One pass of the driver.
ListenAction OnTick(DbListenRecord& record);

/// The request that `OnTick` asked for is under way, or could not be made.
void OnArmed(DbListenRecord& record, bool armed);

/// A response header line, its line end included. False when the transfer is to end.
bool OnHeaderLine(DbListenRecord& record, std::string_view line);

/// The next bytes of a response body. False when they are refused and the transfer is to end. Throws what `ReadFeed`
/// throws.
bool OnBody(DbListenRecord& record, const char* data, size_t n);

/// The transfer has ended; `httpStatus` is 0 when there was no answer.
void OnTransferDone(DbListenRecord& record, CURLcode result, long httpStatus);

/// The transfer has ended, and `OnTransferDone` could not tell for want of memory: the feed waits and tries again as
/// after any failure.
void OnTransferLost(DbListenRecord& record) noexcept;

/// The address of the request that `OnTick` asked for.
Url BuildRequestUrl(const DbListenRecord& record, const CouchConnectionParameters& server, ListenAction action);

}  // namespace qx::couch
