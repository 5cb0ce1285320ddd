#pragma once

#include "netweft/http/HttpMultiConnection.h"
#include "tests/http/LibraryFixture.h"
#include "tests/support/CurlMultiFaults.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScriptedServer.h"

#include <gmock/gmock.h>

#include <functional>

namespace qx::test {

/// What one completion callback got.
struct Completion {
  long httpCode;
  string errorText;
  qxVariantMapImpl headers;
  string body;
  size_t capacity;
  void* userData;
};

/// A multi connection, what it completed, and a server that answers each request with its path until told otherwise.
class MultiConnectionFixture : public LibraryFixture {
 protected:
  using HttpMultiConnection = http::HttpMultiConnection;
  using Request = HttpMultiConnection::Request;

  /// Replaces the connection by one of so many slots.
  void build(int slots) {
    multi = std::make_unique<HttpMultiConnection>(slots);
    multi->setCallback(OnCompletion, this);
  }

  void add(const string& url, int32 method = HttpMultiConnection::M_Get, const string& body = "") {
    auto request = std::make_unique<Request>();
    request->url = Url(url);
    request->method = method;
    request->body.assign(body.begin(), body.end());
    request->userData = &completions;
    multi->addRequest(request);
  }
  void addPath(const string& path, int32 method = HttpMultiConnection::M_Get, const string& body = "") {
    add(server.getUrl(path), method, body);
  }

  /// Pumps until the condition holds; false when that took too long.
  [[nodiscard]] bool pumpUntil(const std::function<bool()>& isReached) {
    const auto end = std::chrono::steady_clock::now() + ScriptedServer::DefaultTimeout;
    while (!isReached()) {
      if (std::chrono::steady_clock::now() > end) return false;
      multi->updateConnection(10);
    }
    return true;
  }
  [[nodiscard]] bool pumpUntilDone() {
    return pumpUntil([this] { return multi->isAllRequestsDone(); });
  }
  [[nodiscard]] bool pumpUntilRequests(uint64 count) {
    return pumpUntil([this, count] { return server.getRequestCount() >= count; });
  }

  vector<string> bodies() const {
    vector<string> all;
    for (const Completion& completion : completions) all.push_back(completion.body);
    return all;
  }

  /// A reply that waits at the gate before its body.
  Reply gated(const string& body) const {
    return Reply::Raw(Reply::HeadText(200, {{"Content-Length", std::to_string(body.size())}})).waitFor(gate).send(body);
  }
  [[nodiscard]] bool pumpUntilGated() {
    return pumpUntil([this] { return gate.waitForArrivals(1, std::chrono::milliseconds(0)); });
  }

  string root() const { return "http://127.0.0.1:" + std::to_string(server.getPort()); }

  LogCapture log;
  CurlMultiFaults faults;
  ScriptedServer server{[](const test::Request& request) { return Reply::Http(200, request.target); }};
  Gate gate;
  vector<Completion> completions;
  /// Runs inside each completion callback, behind the keeping.
  std::function<void(vector<char>& content)> onCompletion;
  unique_ptr<HttpMultiConnection> multi = std::make_unique<HttpMultiConnection>(1);

  MultiConnectionFixture() { multi->setCallback(OnCompletion, this); }

 private:
  static void OnCompletion(HttpMultiConnection&, long httpCode, const string& errorText,
                           const qxVariantMapImpl& headers, vector<char>& content, void* context, void* userData) {
    auto* const self = static_cast<MultiConnectionFixture*>(context);
    self->completions.push_back(
        {httpCode, errorText, headers, string(content.begin(), content.end()), content.capacity(), userData});
    if (self->onCompletion) self->onCompletion(content);
  }
};

}  // namespace qx::test
