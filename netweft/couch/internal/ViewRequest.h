#pragma once

#include "netweft/base/system/qxTypes.h"

namespace qx::couch {

/// `{"keys":["a","b"]}`. Null for null or no keys: the request is a GET.
unique_ptr<bytes> BuildKeysBody(const vector<string>* keys);

/// The set-up of a view's request for `HttpConnection::getHttpData`; `userData` is the fetch's `ViewStreamParser`. The
/// response goes to its scanner, the request's body comes from it, and what the row callback throws stays in its
/// exception slot for the caller of `getHttpData`.
int SetUpViewRequest(void* curlHandle, void* userData, list<string>& headers);

}  // namespace qx::couch
