#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/qxThread.h"
#include "netweft/couch/ChangesListener.h"
#include "netweft/couch/ConflictSolver.h"
#include "netweft/couch/FetchCouchDbView.h"
#include "netweft/couch/MultiThreadedDocumentGetter.h"
#include "netweft/couch/MultiThreadedDocumentUpdater.h"
#include "netweft/couch/MultiThreadedDocumentUploader.h"
#include "netweft/http/HttpConnection.h"
#include "tests/chaos/ChaosClient.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <atomic>

namespace qx::test {

namespace {

using couch::CouchConnectionParameters;

const string sDocument = R"({"_id":"a","_rev":"1-x","n":1})";
const string sRows =
    R"({"total_rows":1,"offset":0,"rows":[{"id":"a","key":"a","value":{"rev":"1-x"},"doc":)" + sDocument + "}]}";

string ToText(const qxVariantMapImpl& map) {
  string text;
  json::Json2Variant::Convert(map, text, false);
  return text;
}

bool TargetHas(const Request& request, const string& part) { return request.target.find(part) != string::npos; }

class ViewClient final : public ChaosClient {
 public:
  Reply answer(const Request&) override { return Reply::Json(200, sRows); }

  Outcome use(const string& url) override {
    mLog.clear();
    vector<string> ids;
    if (!couch::FetchCouchDbView(mConnection, Url(url), "db", "", "", nullptr, OnRow, &ids, -1, 0, nullptr)) {
      // Only of a time-out is nothing logged.
      EXPECT_TRUE(mConnection.isLastCallTimedOut() || !mLog.getLines(LT_Error).empty());
      return Outcome::Broke;
    }
    return ids == vector<string>{"a"} ? Outcome::Worked : Outcome::Altered;
  }

 private:
  static bool OnRow(const string& id, qxVariant&, qxVariant&, void* ids) {
    static_cast<vector<string>*>(ids)->push_back(id);
    return true;
  }

  LogCapture mLog;
  http::HttpConnection mConnection{true};
};

class GetterClient final : public ChaosClient {
 public:
  using Getter = couch::MultiThreadedDocumentGetter;

  Reply answer(const Request&) override { return Reply::Json(200, sRows); }

  Outcome use(const string& url) override {
    if (mGetter == nullptr) {
      mServer = Url(url);
      mGetter =
          std::make_unique<Getter>(mServer, "db", OnDocument, this, nullptr, nullptr, 1U, 10U, Getter::DC_Document);
    }
    mOutcome = Outcome::Altered;
    mGetter->addJobs({"a"});
    EXPECT_TRUE(mGetter->waitUntilAllJobsAreDone(nullptr));
    return mOutcome;
  }

 private:
  static void OnDocument(Getter&, const string& id, qxVariantMapImpl& doc, const string& error,
                         Getter::DocumentResult result, void* self, void*) {
    Outcome& outcome = static_cast<GetterClient*>(self)->mOutcome;
    if (result != Getter::DR_Found) {
      EXPECT_NE(error, "");
      outcome = Outcome::Broke;
    } else {
      outcome = id == "a" && ToText(doc) == sDocument ? Outcome::Worked : Outcome::Altered;
    }
  }

  CouchConnectionParameters mServer;
  /// Written by the getter's thread, read when it is done.
  Outcome mOutcome = Outcome::Altered;
  unique_ptr<Getter> mGetter;
};

/// A failed post is the end of an uploader, so that each use has its own.
class UploaderClient final : public ChaosClient {
 public:
  Reply answer(const Request& request) override {
    mHasPosted = request.body == sBatch;
    return Reply::Json(201, "[]");
  }

  Outcome use(const string& url) override {
    mHasPosted = false;
    const CouchConnectionParameters server{Url(url)};
    couch::MultiThreadedDocumentUploader uploader(server, "db", 1);
    string batch = sBatch;
    EXPECT_TRUE(uploader.sendBatch(batch));
    if (!uploader.waitForEnd(nullptr)) return Outcome::Broke;
    return mHasPosted ? Outcome::Worked : Outcome::Altered;
  }

  bool hasTimeLimit() const override { return false; }
  bool trustsBrokenHeads() const override { return true; }

 private:
  static inline const string sBatch = R"({"docs":[{"_id":"a"}]})";

  std::atomic<bool> mHasPosted{false};
};

class UpdaterClient final : public ChaosClient {
 public:
  Reply answer(const Request& request) override {
    if (TargetHas(request, "/_changes?descending=true")) return Reply::Json(200, R"({"results":[],"last_seq":1})");
    if (TargetHas(request, "/_changes?")) return Reply::Json(200, R"({"results":[{"seq":1,"id":"a"}]})");
    if (TargetHas(request, "/_all_docs")) return Reply::Json(200, sRows);
    mHasPosted = mHasPosted || request.body.find("changed") != string::npos;
    return Reply::Json(201, "[]");
  }

  Outcome use(const string& url) override {
    mLog.clear();
    mHasPosted = false;
    mHasFailed = false;
    {
      couch::MultiThreadedDocumentUpdater updater(Url(url), "db", OnUpdate, nullptr, nullptr, this, 1, 10);
      if (!updater.applyOnEntireDb(nullptr)) mHasFailed = true;
      updater.waitForAllUpdate(nullptr);
    }
    if (mHasFailed || !mLog.getLines(LT_Error).empty()) return Outcome::Broke;
    return mHasPosted ? Outcome::Worked : Outcome::Altered;
  }

  bool hasTimeLimit() const override { return false; }
  bool trustsBrokenHeads() const override { return true; }

 private:
  static bool OnUpdate(qxVariantMapImpl& doc, void* self, void*) {
    auto& client = *static_cast<UpdaterClient*>(self);
    if (doc.empty()) client.mHasFailed = true;
    doc["changed"] = true;
    return !client.mHasFailed;
  }

  LogCapture mLog;
  std::atomic<bool> mHasPosted{false};
  std::atomic<bool> mHasFailed{false};
};

class SolverClient final : public ChaosClient {
 public:
  Reply answer(const Request& request) override {
    if (request.method == "POST") {
      mIsSolved = true;
      return Reply::Json(201, R"([{"ok":true},{"ok":true}])");
    }
    if (TargetHas(request, "/_view/")) {
      const string row = R"({"id":"a","key":null,"value":["2-b","2-a"]})";
      return Reply::Json(200, R"({"rows":[)" + (mIsSolved ? "" : row) + "]}");
    }
    const string revision = TargetHas(request, "rev=2-a") ? "2-a" : "2-b";
    return Reply::Json(200, R"({"_id":"a","_rev":")" + revision + R"("})");
  }

  Outcome use(const string& url) override {
    mIsSolved = false;
    mEnd = -1;
    couch::ResolveConflictRequest request;
    request.fromEncodedUtf8String(url, nullptr, false);
    request.dbName = "db";
    request.viewPath = {"_design", "c", "_view", "all"};
    request.onFinished = OnFinished;
    request.userData = this;
    mSolver.requestResolveConflicts(request);
    // Any call makes the manager look around, so that its seconds are not waited out.
    while (mEnd == -1) {
      qxThread::msleep(1);
      mSolver.cancelRequest("nobody", false);
    }
    if (mEnd == 0) return Outcome::Broke;
    return mIsSolved ? Outcome::Worked : Outcome::Altered;
  }

  // A view that only times out is asked again for two hours.
  bool hasTimeLimit() const override { return false; }
  bool carriesOn() const override { return true; }

 private:
  static void OnFinished(int completed, uint64, const couch::ResolveConflictRequest& request) {
    static_cast<SolverClient*>(request.userData)->mEnd = completed;
  }

  std::atomic<bool> mIsSolved{false};
  std::atomic<int> mEnd{-1};
  couch::ConflictSolver mSolver{1, 10, 10};
};

class ListenerClient final : public ChaosClient {
 public:
  Reply answer(const Request&) override {
    return Reply::Stream(200)
        .sendChunk(R"({"seq":1,"id":"a","changes":[{"rev":"1-x"}]})"
                   "\n")
        .endChunks();
  }

  Outcome use(const string& url) override {
    if (!mIsSet) mIsSet = mListener.setConnectionParameters(Url(url));
    mIsDone = false;
    EXPECT_TRUE(
        mListener.startListeningDb("db", 0, OnMessage, this, couch::ChangesListener::RC_ChangesOnly, 10, 30, 1));
    while (!mIsDone) {
      mListener.updateListener(10);
      qxThread::msleep(1);
    }
    EXPECT_TRUE(mListener.stopListeningDb("db"));
    return mOutcome;
  }

  bool hasTimeLimit() const override { return false; }
  bool carriesOn() const override { return true; }

 private:
  static void OnMessage(couch::ChangesListener::CallbackMsg message, const couch::ChangesListener::CallbackParam& param,
                        void* self) {
    auto& client = *static_cast<ListenerClient*>(self);
    if (message == couch::ChangesListener::CM_NewChange) {
      client.end(param.docId == "a" && param.seq == 1 ? Outcome::Worked : Outcome::Altered);
    } else if (message <= couch::ChangesListener::CM_FailToStartListening) {
      EXPECT_NE(param.errorMessage, "");
      client.end(Outcome::Broke);
    }
  }
  void end(Outcome outcome) {
    if (!mIsDone) mOutcome = outcome;
    mIsDone = true;
  }

  couch::ChangesListener mListener;
  bool mIsSet = false;
  bool mIsDone = false;
  Outcome mOutcome = Outcome::Broke;
};

template <class Client>
unique_ptr<ChaosClient> Make() {
  return std::make_unique<Client>();
}

}  // namespace

const vector<ChaosClientKind>& CouchChaosClients() {
  static const vector<ChaosClientKind> kinds = {
      {"FetchCouchDbView", Make<ViewClient>},     {"CouchDocumentGetter", Make<GetterClient>},
      {"DocumentUploader", Make<UploaderClient>}, {"DocumentUpdater", Make<UpdaterClient>},
      {"ConflictSolver", Make<SolverClient>},     {"ChangesListener", Make<ListenerClient>},
  };
  return kinds;
}

}  // namespace qx::test
