#include "netweft/addressing/Url.h"
#include "netweft/http/HttpHelpers.h"
#include "netweft/http/HttpMultiConnection.h"
#include "tests/chaos/ChaosClient.h"

#include <gtest/gtest.h>

#include <curl/curl.h>

namespace qx::test {

namespace {

using http::HttpConnection;
using http::HttpHelpers;
using http::HttpMultiConnection;

const string sContent = R"({"name":"value"})";

Outcome Judge(bool reported, const string& error, bool same) {
  if (!reported) {
    EXPECT_NE(error, "") << "a failure tells its reason";
    return Outcome::Broke;
  }
  return same ? Outcome::Worked : Outcome::Altered;
}

/// One verb of `HttpHelpers` over a kept connection.
class VerbClient : public ChaosClient {
 public:
  using Verb = bool (*)(HttpConnection& connection, const Url& url, HttpHelpers::HttpResult& result);

  VerbClient(Verb verb, bool hasBody, bool asksForHeaders) : mVerb(verb), mHasBody(hasBody), mHeaders(asksForHeaders) {}

  Reply answer(const Request&) override { return Reply::Json(200, sContent); }

  Outcome use(const string& url) override {
    string content;
    string error;
    map<string, string> headers;
    HttpHelpers::HttpResult result;
    result.content = &content;
    result.errorMessage = &error;
    if (mHeaders) result.headers = &headers;
    const bool reported = mVerb(mConnection, Url(url + "/a"), result);
    return Judge(reported, error, content == (mHasBody ? sContent : ""));
  }

  bool trustsBrokenHeads() const override { return !mHeaders; }

 private:
  const Verb mVerb;
  const bool mHasBody;
  const bool mHeaders;
  HttpConnection mConnection{true};
};

template <VerbClient::Verb V, bool HasBody = true, bool AsksForHeaders = false>
unique_ptr<ChaosClient> MakeVerb() {
  return std::make_unique<VerbClient>(V, HasBody, AsksForHeaders);
}

bool Get(HttpConnection& connection, const Url& url, HttpHelpers::HttpResult& result) {
  return HttpHelpers::HttpGet(connection, url, &result);
}
bool GetJson(HttpConnection& connection, const Url& url, HttpHelpers::HttpResult& result) {
  return HttpHelpers::HttpGetJson(connection, url, *result.content, &result, nullptr, nullptr, nullptr, &sContent,
                                  true);
}
bool Head(HttpConnection& connection, const Url& url, HttpHelpers::HttpResult& result) {
  return HttpHelpers::HttpHead(connection, url, &result);
}
bool Delete(HttpConnection& connection, const Url& url, HttpHelpers::HttpResult& result) {
  return HttpHelpers::HttpDelete(connection, url, &result);
}
bool Post(HttpConnection& connection, const Url& url, HttpHelpers::HttpResult& result) {
  return HttpHelpers::HttpPost(connection, url, sContent, 200, &result);
}
bool PostJson(HttpConnection& connection, const Url& url, HttpHelpers::HttpResult& result) {
  return HttpHelpers::HttpPostJson(connection, url, sContent.data(), sContent.size(), 200, &result);
}
bool Put(HttpConnection& connection, const Url& url, HttpHelpers::HttpResult& result) {
  return HttpHelpers::HttpPut(connection, url, sContent, 200, &result);
}
bool PutJson(HttpConnection& connection, const Url& url, HttpHelpers::HttpResult& result) {
  return HttpHelpers::HttpPutJson(connection, url, sContent.data(), sContent.size(), 200, &result);
}

/// A host's own set-up callback.
class BareClient final : public ChaosClient {
 public:
  Reply answer(const Request&) override { return Reply::Json(200, sContent); }

  Outcome use(const string& url) override {
    string content;
    const bool reported = mConnection.getHttpData(Url(url + "/a"), "application/json", 200, SetUp, &content);
    return Judge(reported, mConnection.getLastErrorMsg(), content == sContent);
  }

  bool trustsBrokenHeads() const override { return true; }

 private:
  static int SetUp(void* handle, void*, list<string>&) {
    return curl_easy_setopt(
        static_cast<CURL*>(handle), CURLOPT_WRITEFUNCTION, +[](char* data, size_t size, size_t count, void* content) {
          static_cast<string*>(content)->append(data, size * count);
          return size * count;
        });
  }

  HttpConnection mConnection{true};
};

class MultiClient final : public ChaosClient {
 public:
  Reply answer(const Request&) override { return Reply::Json(200, sContent); }

  Outcome use(const string& url) override {
    mCode = 0;
    mMulti.setCallback(OnDone, this);
    auto request = std::make_unique<HttpMultiConnection::Request>();
    request->url = Url(url + "/a");
    mMulti.addRequest(request);
    while (!mMulti.isAllRequestsDone()) mMulti.updateConnection(20);
    // Any status is an answer here.
    return Judge(mCode > 0, mError, mCode == 200 && mContent == sContent);
  }

 private:
  static void OnDone(HttpMultiConnection&, long code, const string& error, const qxVariantMapImpl&,
                     vector<char>& content, void* self, void*) {
    auto& client = *static_cast<MultiClient*>(self);
    client.mCode = code;
    client.mError = error;
    client.mContent.assign(content.begin(), content.end());
  }

  HttpMultiConnection mMulti{2};
  long mCode = 0;
  string mError;
  string mContent;
};

}  // namespace

const vector<ChaosClientKind>& HttpChaosClients() {
  static const vector<ChaosClientKind> kinds = {
      {"HttpGet", MakeVerb<Get>},
      {"HttpGetWithHeaders", MakeVerb<Get, true, true>},
      {"HttpGetJson", MakeVerb<GetJson>},
      {"HttpHead", MakeVerb<Head, false>},
      {"HttpDelete", MakeVerb<Delete>},
      {"HttpPost", MakeVerb<Post>},
      {"HttpPostJson", MakeVerb<PostJson>},
      {"HttpPut", MakeVerb<Put>},
      {"HttpPutJson", MakeVerb<PutJson>},
      {"HttpConnection", +[]() -> unique_ptr<ChaosClient> { return std::make_unique<BareClient>(); }},
      {"HttpMultiConnection", +[]() -> unique_ptr<ChaosClient> { return std::make_unique<MultiClient>(); }},
  };
  return kinds;
}

}  // namespace qx::test
