#pragma once

#include "netweft/addressing/Url.h"
#include "netweft/http/HttpConnection.h"
#include "tests/http/Exchange.h"
#include "tests/http/LibraryFixture.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScriptedServer.h"

#include <gmock/gmock.h>

namespace qx::test {

/// A connection, what its requests gather, and a server that answers "hello" until told otherwise.
class ConnectionFixture : public LibraryFixture {
 protected:
  bool get(const string& url, const string& expectedType = "", long expectedReturnCode = 0) {
    exchange.body.clear();
    return connection.getHttpData(qx::Url(url), expectedType, expectedReturnCode, Exchange::Setup, &exchange);
  }
  bool get() { return get(server.getUrl()); }

  /// "http://127.0.0.1:port", as URLs without a path are displayed.
  string root() const { return "http://127.0.0.1:" + std::to_string(server.getPort()); }

  /// What the connection still holds open counts one; each connection lost and opened anew counts one more.
  uint64 connections() const { return server.getAcceptedConnections(); }

  LogCapture log;
  ScriptedServer server{[](const Request&) { return Reply::Http(200, "hello"); }};
  Exchange exchange;
  http::HttpConnection connection{false};
};

}  // namespace qx::test
