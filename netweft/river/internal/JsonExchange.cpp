#include "netweft/river/internal/JsonExchange.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/qxFlag.h"
#include "netweft/http/HttpHelpers.h"
#include "netweft/http/internal/HttpStatus.h"

namespace qx::couch {

using http::HttpHelpers;

namespace {

bool ParseBody(JsonReply& reply) {
  if (reply.text.empty()) return true;
  if (json::Json2Variant::Convert(reply.text.data(), reply.text.size(), reply.map)) return true;
  reply.map.clear();
  return false;
}

}  // namespace

JsonReply GetJson(http::HttpConnection& connection, const Url& url, const bool* cancelFlag) {
  JsonReply reply;
  if (ReadFlag(cancelFlag)) return reply;
  HttpHelpers::HttpResult result;
  // With the headers asked for, an answer that breaks off in its head is no empty one: an index whose description seems
  // to be empty is built anew.
  map<string, string> headers;
  result.headers = &headers;
  reply.complete = HttpHelpers::HttpGetJson(connection, url, reply.text, &result, nullptr, nullptr, cancelFlag);
  reply.status = result.httpReturnCode;
  reply.good = reply.complete && ParseBody(reply);
  return reply;
}

JsonReply PutJson(http::HttpConnection& connection, const Url& url, const qxVariantMapImpl& body,
                  const bool* cancelFlag) {
  JsonReply reply;
  if (ReadFlag(cancelFlag)) return reply;
  string text;
  json::Json2Variant::Convert(body, text, false);
  HttpHelpers::HttpResult result;
  result.content = &reply.text;
  reply.good = HttpHelpers::HttpPutJson(connection, url, text.data(), text.size(), http::sHttpOk, &result, nullptr,
                                        nullptr, cancelFlag);
  reply.status = result.httpReturnCode;
  return reply;
}

}  // namespace qx::couch
