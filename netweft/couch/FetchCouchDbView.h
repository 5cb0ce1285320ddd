#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxVariant.h"
#include "netweft/couch/CouchConnectionParameters.h"

namespace qx::http {
class HttpConnection;
}

namespace qx::couch {

/// Gets one row of a view. `key` and `value` are the callee's to change or to move from; they die after the call. An id
/// that is no text comes as its text form. True to go on, false to stop the fetch. An exception stops the fetch and
/// reaches the caller of `FetchCouchDbView`.
using ViewRowCallback = bool (*)(const string& id, qxVariant& key, qxVariant& value, void* userData);

/// Reads a CouchDB view, or `_all_docs`, as a stream: each row is handed to `callback` while the response is still
/// arriving, so the memory used is that of one row, whatever the size of the view.
///
/// True when the whole response came with status 200 and every row was accepted. False otherwise: the reason is logged
/// as an error, except for a raised cancel flag and for a time-out with `timeoutMs` 0. Rows delivered before a failure
/// stay delivered. A row without an id, as `_all_docs` gives for a key that does not exist, is a failure.
///
/// - `connection` must not be used elsewhere meanwhile. Its own time limits decide when a request has timed out.
/// - `designDoc` and `viewName` both empty select `_all_docs`.
/// - `keys`: null or empty reads the whole view; otherwise the rows of these keys are asked for, in this order.
///   Borrowed for the call.
/// - `callback` null reads the response and looks at nothing; `userData` is handed on untouched.
/// - `limit` 0 or more asks for at most so many rows; negative sets no limit. One request is made, there is no paging.
/// - `timeoutMs`: for how long requests that time out are made again, a quarter of a second apart; 0 means one attempt.
///   A repeated request resumes reading where the last one broke off, so set it only where the answer to it is a
///   continuation.
/// - `cancelFlag` may be null. Raised by any thread through `StoreFlag`, it ends the fetch when the next bytes arrive.
NETWEFT_EXPORT bool FetchCouchDbView(http::HttpConnection& connection, const CouchConnectionParameters& server,
                                     const string& db, const string& designDoc, const string& viewName,
                                     const vector<string>* keys, ViewRowCallback callback, void* userData,
                                     long long limit, unsigned int timeoutMs, const bool* cancelFlag);

}  // namespace qx::couch
