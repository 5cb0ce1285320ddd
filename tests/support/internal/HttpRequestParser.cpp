#include "tests/support/internal/HttpRequestParser.h"

#include "netweft/base/system/qxStringUtils.h"

#include <strings.h>

namespace qx::test {

void HttpRequestParser::feed(std::string_view input, vector<Request>& out) {
  mInput.append(input);
  while (advance(out)) {
  }
}

bool HttpRequestParser::takeWantsContinue() { return std::exchange(mWantsContinue, false); }

bool HttpRequestParser::advance(vector<Request>& out) {
  switch (mState) {
    case S_Head: return readHead(out);
    case S_SizedBody: return readSizedBody(out);
    case S_ChunkSize: return readChunkSize();
    case S_ChunkData: return readChunkData();
    case S_ChunkTrailer: return readChunkTrailer(out);
  }
  return false;
}

bool HttpRequestParser::readHead(vector<Request>& out) {
  const size_t end = mInput.find("\r\n\r\n");
  if (end == string::npos) return false;
  parseHead(take(end + 4));
  mWantsContinue = strcasecmp(mRequest.getHeader("Expect").c_str(), "100-continue") == 0;
  if (strcasecmp(mRequest.getHeader("Transfer-Encoding").c_str(), "chunked") == 0) {
    mState = S_ChunkSize;
    return true;
  }
  mBodyLeft = std::strtoull(mRequest.getHeader("Content-Length").c_str(), nullptr, 10);
  mState = S_SizedBody;
  if (mBodyLeft == 0) finish(out);
  return true;
}

bool HttpRequestParser::readSizedBody(vector<Request>& out) {
  const string part = take(std::min<uint64>(mBodyLeft, mInput.size()));
  mRequest.body += part;
  mBodyLeft -= part.size();
  if (mBodyLeft != 0) return false;
  finish(out);
  return true;
}

bool HttpRequestParser::readChunkSize() {
  const size_t end = mInput.find("\r\n");
  if (end == string::npos) return false;
  mBodyLeft = std::strtoull(take(end + 2).c_str(), nullptr, 16);
  mState = mBodyLeft == 0 ? S_ChunkTrailer : S_ChunkData;
  return true;
}

bool HttpRequestParser::readChunkData() {
  if (mInput.size() < mBodyLeft + 2) return false;
  mRequest.body += take(mBodyLeft);
  take(2);
  mState = S_ChunkSize;
  return true;
}

bool HttpRequestParser::readChunkTrailer(vector<Request>& out) {
  const size_t end = mInput.find("\r\n");
  if (end == string::npos) return false;
  take(end + 2);
  if (end == 0) finish(out);
  return true;
}

void HttpRequestParser::parseHead(const string& head) {
  list<string> lines = qxStringUtils::Split(head, '\n', false);
  mRequest.line = qxStringUtils::trim(lines.front());
  lines.pop_front();
  const size_t target = mRequest.line.find(' ') + 1;
  mRequest.method = mRequest.line.substr(0, target - 1);
  mRequest.target = mRequest.line.substr(target, mRequest.line.rfind(' ') - target);
  for (const string& line : lines) {
    const size_t colon = line.find(':');
    if (colon == string::npos) continue;
    string value = line.substr(colon + 1);
    mRequest.headers.emplace_back(line.substr(0, colon), qxStringUtils::trim(value));
  }
}

void HttpRequestParser::finish(vector<Request>& out) {
  out.push_back(std::exchange(mRequest, Request()));
  mState = S_Head;
}

string HttpRequestParser::take(uint64 n) {
  string taken = mInput.substr(0, n);
  mInput.erase(0, n);
  mRequest.raw += taken;
  return taken;
}

}  // namespace qx::test
