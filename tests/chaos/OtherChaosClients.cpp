#include "netweft/elasticsearch/MultiThreadedDocumentGetter.h"
#include "netweft/http/HttpConnection.h"
#include "netweft/http/HttpConnectionPool.h"
#include "netweft/http/HttpHelpers.h"
#include "netweft/jwt/KeyStore.h"
#include "netweft/river/CouchToEsRiverManager.h"
#include "tests/chaos/ChaosClient.h"
#include "tests/jwt/KeySetSamples.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

namespace qx::test {

namespace {

using couch::CouchToEsRiverManager;

class SearchClient final : public ChaosClient {
 public:
  using Getter = elasticsearch::MultiThreadedDocumentGetter;

  Reply answer(const Request&) override {
    return Reply::Json(200, R"({"hits":{"total":1,"hits":[{"_id":"a","_source":)" + sSource + "}]}}");
  }

  Outcome use(const string& url) override {
    if (mGetter == nullptr) {
      mServer = Url(url);
      mGetter = std::make_unique<Getter>(mServer, OnDocument, this, nullptr, nullptr, 1U, 10U, qxVariant());
    }
    mLog.clear();
    mOutcome = Outcome::Altered;
    mGetter->addJob("a", "");
    EXPECT_TRUE(mGetter->waitUntilAllJobsAreDone(nullptr, nullptr));
    return mOutcome;
  }

 private:
  static inline const string sSource = R"({"id":"a"})";

  static void OnDocument(Getter&, const string& id, const string& source, const string& error,
                         Getter::DocumentResult result, void* self, void*) {
    auto& client = *static_cast<SearchClient*>(self);
    // A reply that cannot be read is logged, and what it did not bring is missing.
    const bool isUnreadable = result == Getter::DR_Missing && !client.mLog.getLines(LT_Error).empty();
    if (result == Getter::DR_Error || isUnreadable) {
      EXPECT_NE(error, "");
      client.mOutcome = Outcome::Broke;
    } else {
      client.mOutcome = id == "a" && source == sSource ? Outcome::Worked : Outcome::Altered;
    }
  }

  LogCapture mLog;
  elasticsearch::ESConnectionParameters mServer;
  /// Written by the getter's thread, read when it is done.
  Outcome mOutcome = Outcome::Altered;
  unique_ptr<Getter> mGetter;
};

class IndexListClient final : public ChaosClient {
 public:
  Reply answer(const Request&) override {
    return Reply::Json(200, R"({"i":{"mappings":{"_doc":{"_meta":{"sourcedbname":"db"}}}}})");
  }

  Outcome use(const string& url) override {
    map<string, list<string>> indexes;
    if (!CouchToEsRiverManager::GetIndexList(mConnection, Url(url), indexes)) return Outcome::Broke;
    const map<string, list<string>> expected = {{"db", {"i"}}};
    return indexes == expected ? Outcome::Worked : Outcome::Altered;
  }

 private:
  http::HttpConnection mConnection{true};
};

class IndexDeletionClient final : public ChaosClient {
 public:
  Reply answer(const Request& request) override {
    return request.method == "DELETE" ? Reply::Json(200, R"({"acknowledged":true})") : Reply::Json(404, "{}");
  }

  Outcome use(const string& url) override {
    return CouchToEsRiverManager::DeleteIndex("i", mConnection, Url(url), 1000) ? Outcome::Worked : Outcome::Broke;
  }

  // It goes by the status of the deletion, and asks afterwards whether the index is there.
  bool trustsBrokenHeads() const override { return true; }
  bool carriesOn() const override { return true; }

 private:
  http::HttpConnection mConnection{true};
};

class KeyStoreClient final : public ChaosClient {
 public:
  Reply answer(const Request&) override {
    return Reply::Json(200, jwt::test::MakeKeySet({jwt::test::RsaMembers("k")}));
  }

  Outcome use(const string& url) override {
    jwt::KeyStore store(mPool, Url(url + "/keys"), true, http::PP_NoProxy, Url(Url::CS_Empty));
    string error;
    if (store.getKeyFromId("k", jwt::RS256, &error) != nullptr) return Outcome::Worked;
    EXPECT_NE(error, "");
    return Outcome::Broke;
  }

  bool usesTls() const override { return true; }

 private:
  http::HttpConnectionPool mPool;
};

class HttpsClient final : public ChaosClient {
 public:
  Reply answer(const Request&) override { return Reply::Http(200, "hello"); }

  Outcome use(const string& url) override {
    string content;
    map<string, string> headers;
    http::HttpHelpers::HttpResult result;
    result.content = &content;
    result.headers = &headers;
    if (!http::HttpHelpers::HttpGet(mConnection, Url(url + "/a"), &result)) return Outcome::Broke;
    return content == "hello" ? Outcome::Worked : Outcome::Altered;
  }

  bool usesTls() const override { return true; }

 private:
  http::HttpConnection mConnection{true};
};

template <class Client>
unique_ptr<ChaosClient> Make() {
  return std::make_unique<Client>();
}

}  // namespace

const vector<ChaosClientKind>& OtherChaosClients() {
  static const vector<ChaosClientKind> kinds = {
      {"ElasticsearchDocumentGetter", Make<SearchClient>},
      {"GetIndexList", Make<IndexListClient>},
      {"DeleteIndex", Make<IndexDeletionClient>},
      {"KeyStore", Make<KeyStoreClient>},
      {"HttpGetOverTls", Make<HttpsClient>},
  };
  return kinds;
}

}  // namespace qx::test
