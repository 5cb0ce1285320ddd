#include "tests/support/Reply.h"

#include "netweft/base/system/qxStringUtils.h"

#include <sstream>

namespace qx::test {

namespace {

const char* GetReason(int status) {
  switch (status) {
    case 200: return "OK";
    case 201: return "Created";
    case 202: return "Accepted";
    case 301: return "Moved Permanently";
    case 302: return "Found";
    case 304: return "Not Modified";
    case 307: return "Temporary Redirect";
    case 400: return "Bad Request";
    case 401: return "Unauthorized";
    case 404: return "Object Not Found";
    case 409: return "Conflict";
    case 429: return "Too Many Requests";
    case 500: return "Internal Server Error";
    case 503: return "Service Unavailable";
    default: return "Scripted";
  }
}

// The wire does not follow the locale that a test runs under.
template <class Number>
string ToText(Number number, bool hexadecimal = false) {
  std::ostringstream out;
  out.imbue(std::locale::classic());
  if (hexadecimal) out << std::hex;
  out << number;
  return out.str();
}

HeaderLines WithLength(const string& body, const HeaderLines& headers) {
  HeaderLines all = headers;
  all.emplace_back("Content-Length", ToText(body.size()));
  return all;
}

}  // namespace

Reply Reply::Http(int status, const string& body, const HeaderLines& headers) {
  Reply reply;
  reply.add({.kind = SK_Http, .text = HeadText(status, WithLength(body, headers)), .body = body});
  return reply;
}

Reply Reply::Json(int status, const string& body) { return Http(status, body, {{"Content-Type", "application/json"}}); }

Reply Reply::Stream(int status, const HeaderLines& headers) {
  HeaderLines all = headers;
  all.emplace_back("Transfer-Encoding", "chunked");
  return Raw(HeadText(status, all));
}

Reply Reply::Raw(const string& bytes) {
  Reply reply;
  reply.send(bytes);
  return reply;
}

Reply Reply::Silent() {
  Reply reply;
  reply.hold();
  return reply;
}

string Reply::HttpText(int status, const string& body, const HeaderLines& headers) {
  return HeadText(status, WithLength(body, headers)) + body;
}

string Reply::HeadText(int status, const HeaderLines& headers) {
  string text = "HTTP/1.1 " + ToText(status) + " " + GetReason(status) + "\r\n";
  for (const auto& [name, value] : headers) text += name + ": " + value + "\r\n";
  return text + "\r\n";
}

string Reply::ChunkText(const string& bytes) { return ToText(bytes.size(), true) + "\r\n" + bytes + "\r\n"; }

Reply& Reply::send(const string& bytes) { return add({.kind = SK_Send, .text = bytes}); }

Reply& Reply::sendInPieces(const string& bytes, uint64 pieceSize) {
  for (uint64 at = 0; at < bytes.size(); at += pieceSize) send(bytes.substr(at, pieceSize));
  return *this;
}

Reply& Reply::drip(const string& bytes, Milliseconds pause) {
  for (const char byte : bytes) {
    add({.kind = SK_Pause, .pause = pause});
    send(string(1, byte));
  }
  return *this;
}

Reply& Reply::waitFor(const Gate& gate) { return add({.kind = SK_Wait, .gate = {gate}}); }
Reply& Reply::awaitText(const string& text) { return add({.kind = SK_AwaitText, .text = text}); }
Reply& Reply::hold() { return add({.kind = SK_Hold}); }
Reply& Reply::close() { return add({.kind = SK_Close}); }
Reply& Reply::reset() { return add({.kind = SK_Reset}); }

Reply& Reply::add(Step step) {
  mSteps.push_back(std::move(step));
  return *this;
}

}  // namespace qx::test
