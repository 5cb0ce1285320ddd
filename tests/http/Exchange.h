#pragma once

#include "netweft/base/system/qxTypes.h"
#include "netweft/http/internal/CurlEasy.h"

#include <functional>

namespace qx::test {

/// The user data of requests: what their set-up does, and what came back.
struct Exchange {
  list<string> headers = {};             ///< lines that each set-up appends
  std::function<int(CURL*)> setup = {};  ///< more of the set-up; its result is the callback's
  int setups = 0;
  string body = {};
  size_t writeResult = CURL_WRITEFUNC_PAUSE;  ///< PAUSE: what was given

  static int Setup(void* handle, void* userData, list<string>& lines) {
    auto* const self = static_cast<Exchange*>(userData);
    ++self->setups;
    lines.insert(lines.end(), self->headers.begin(), self->headers.end());
    http::impl::SetFunction(handle, CURLOPT_WRITEFUNCTION, Write);
    return self->setup ? self->setup(handle) : 0;
  }

  static size_t Write(char* data, size_t size, size_t count, void* userData) {
    auto* const self = static_cast<Exchange*>(userData);
    self->body.append(data, size * count);
    return self->writeResult == CURL_WRITEFUNC_PAUSE ? size * count : self->writeResult;
  }
};

}  // namespace qx::test
