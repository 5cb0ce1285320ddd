#pragma once

#include "netweft/addressing/Url.h"
#include "netweft/base/system/qxVariant.h"
#include "netweft/http/HttpConnection.h"

namespace qx::couch {

/// The answer to one request of the JSON interface. When it is not good, `HttpConnection::getLastErrorMsg` of the
/// connection tells what happened to the transfer.
struct JsonReply {
  bool good = false;
  /// Of a GET: the status is 200 and the body came whole, whatever it is.
  bool complete = false;
  /// 0 when there was no answer.
  uint32 status = 0;
  /// The body as it came.
  string text;
  /// The body of a good GET; empty otherwise.
  qxVariantMapImpl map;
};

/// Good: the status is 200, and the body is a JSON object or empty.
///
/// Nothing is sent, and the reply is not good, when `*cancelFlag` (null: none) is already true. Raised during the
/// transfer it ends it at the next bytes that move.
JsonReply GetJson(http::HttpConnection& connection, const Url& url, const bool* cancelFlag);

/// Sends compact JSON. Good: the status is 200, whatever the body. The flag works as above.
JsonReply PutJson(http::HttpConnection& connection, const Url& url, const qxVariantMapImpl& body,
                  const bool* cancelFlag);

}  // namespace qx::couch
