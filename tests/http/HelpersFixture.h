#pragma once

#include "netweft/addressing/Url.h"
#include "netweft/http/HttpHelpers.h"
#include "tests/http/LibraryFixture.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScriptedServer.h"

#include <gmock/gmock.h>

namespace qx::test {

using http::HttpHelpers;

/// A connection for the verb helpers, and a server that answers 200 with "hello" until told otherwise.
class HelpersFixture : public LibraryFixture {
 protected:
  using HttpResult = HttpHelpers::HttpResult;

  Url url(const string& path = "/a") const { return Url(server.getUrl(path)); }
  string root() const { return "http://127.0.0.1:" + std::to_string(server.getPort()); }

  /// The request that the server got last.
  test::Request last() const { return server.getRequest(server.getRequestCount() - 1); }

  LogCapture log;
  ScriptedServer server{[](const test::Request&) { return Reply::Http(200, "hello"); }};
  http::HttpConnection connection{true};
};

}  // namespace qx::test
