#pragma once

#include "netweft/addressing/Url.h"
#include "netweft/base/system/qxVariant.h"
#include "netweft/http/HttpConnection.h"

namespace qx::couch {

/// The answer to one JSON request.
struct JsonReply {
  /// The transfer went through with status 200, and the body, unless empty, is a JSON object. Otherwise
  /// `HttpConnection::getLastErrorMsg` of the connection tells what happened to the transfer.
  bool good = false;
  /// 0 when there was no answer.
  uint32 status = 0;
  /// The body as it came.
  string text;
  /// The body; empty unless good.
  qxVariantMapImpl map;
};

/// Each sends nothing when `*cancelFlag` (null: none) is already true, and the reply is then not good. Raised during the
/// transfer it ends it at the next bytes that move.
JsonReply GetJson(http::HttpConnection& connection, const Url& url, const bool* cancelFlag);
/// The body sent is compact JSON.
JsonReply PutJson(http::HttpConnection& connection, const Url& url, const qxVariantMapImpl& body,
                  const bool* cancelFlag);

}  // namespace qx::couch
