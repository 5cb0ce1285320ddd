#include "tests/support/Request.h"

#include <algorithm>

#include <strings.h>

namespace qx::test {

namespace {

bool IsSameName(const string& one, const string& other) { return strcasecmp(one.c_str(), other.c_str()) == 0; }

}  // namespace

string Request::getHeader(const string& name) const {
  const auto found = std::find_if(headers.begin(), headers.end(),
                                  [&name](const auto& header) { return IsSameName(header.first, name); });
  return found == headers.end() ? string() : found->second;
}

uint64 Request::countHeaders(const string& name) const {
  return static_cast<uint64>(std::count_if(headers.begin(), headers.end(),
                                           [&name](const auto& header) { return IsSameName(header.first, name); }));
}

bool Request::hasHeaderLine(const string& wanted) const {
  return raw.find("\r\n" + wanted + "\r\n") < raw.find("\r\n\r\n");
}

}  // namespace qx::test
