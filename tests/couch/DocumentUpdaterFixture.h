#pragma once

#include "netweft/couch/MultiThreadedDocumentUpdater.h"
#include "tests/couch/DocumentGetterFixture.h"
#include "tests/support/FaultExemption.h"

#include <atomic>

namespace qx::test {

/// What the callbacks of one updater were called with.
class UpdateRecorder {
 public:
  static bool OnUpdate(qxVariantMapImpl& doc, void* userData, void* threadUserData) {
    const FaultExemption own;
    UpdateRecorder& self = *static_cast<UpdateRecorder*>(userData);
    string json;
    json::Json2Variant::Convert(doc, json, false);
    {
      const std::lock_guard lock(self.mMutex);
      self.mSeen.push_back(json);
      self.mThreadData.insert(threadUserData);
    }
    return self.update(doc);
  }
  static void* OnCreate(void* userData) {
    UpdateRecorder& self = *static_cast<UpdateRecorder*>(userData);
    ++self.created;
    return &self.mark;
  }
  static void OnDelete(void* updater, void* threadUserData) {
    sDeletedWith = updater;
    sDeletedData = threadUserData;
    ++sDeleted;
  }
  /// It gets no user data, so it leaves its trace here.
  static inline std::atomic<void*> sDeletedWith{nullptr};
  static inline std::atomic<void*> sDeletedData{nullptr};
  static inline std::atomic<int> sDeleted{0};

  /// Sorted.
  vector<string> getSeen() const {
    const std::lock_guard lock(mMutex);
    vector<string> seen = mSeen;
    std::sort(seen.begin(), seen.end());
    return seen;
  }
  void clear() {
    const std::lock_guard lock(mMutex);
    vector<string>().swap(mSeen);
    mThreadData.clear();
  }
  set<void*> getThreadData() const {
    const std::lock_guard lock(mMutex);
    return mThreadData;
  }

  std::function<bool(qxVariantMapImpl& doc)> update = [](qxVariantMapImpl& doc) {
    if (!doc.empty()) doc["changed"] = true;
    return !doc.empty();
  };
  std::atomic<int> created{0};
  char mark = 0;

 private:
  mutable std::mutex mMutex;
  vector<string> mSeen;
  set<void*> mThreadData;
};

/// A database that is a list of changes, each of them `{"seq":1,"id":"a"}`, and has every document that is asked for.
class DocumentUpdaterFixture : public LibraryFixture {
 protected:
  using Updater = couch::MultiThreadedDocumentUpdater;

  DocumentUpdaterFixture() {
    UpdateRecorder::sDeleted = 0;
    UpdateRecorder::sDeletedWith = nullptr;
    UpdateRecorder::sDeletedData = nullptr;
    server.setHandler([this](const Request& request) { return answer(request); });
  }

  Reply answer(const Request& request) {
    if (request.target.find("/_changes?descending=true") != string::npos) {
      return Reply::Json(200, R"({"results":[],"last_seq":)" + lastSequence + "}");
    }
    if (request.target.find("/_changes?") != string::npos) return Reply::Json(200, nextChanges());
    if (request.target.find("/_all_docs") != string::npos) return answerDocuments(request);
    return Reply::Json(201, "[]");
  }

  /// `count` documents "a0000000", ... with the sequences 1, ...
  void have(int count) {
    string results;
    int sequence = 0;
    for (const string& id : MakeIds(count)) {
      if (!results.empty()) results += ",";
      results += R"({"seq":)" + qxStringUtils::fromInt(++sequence, 1) + R"(,"id":")" + id + R"("})";
    }
    lastSequence = qxStringUtils::fromInt(count, 1);
    changes = {R"({"results":[)" + results + "]}"};
  }

  /// The changes are given from the first one again.
  void rewind() { mNextChanges = 0; }

  unique_ptr<Updater> make(unsigned int threads = 1, unsigned int batchSize = 100) {
    return std::make_unique<Updater>(couchServer, "db", UpdateRecorder::OnUpdate, nullptr, nullptr, &recorder, threads,
                                     batchSize);
  }

  /// All requests that begin so.
  vector<Request> getRequests(const string& start) const {
    vector<Request> found;
    for (Request& request : server.getRequests()) {
      if (request.line.rfind(start, 0) == 0) found.push_back(std::move(request));
    }
    return found;
  }
  vector<Request> getPosts() const { return getRequests("POST /db/_bulk_docs "); }
  /// How many documents each post held, in the order of the posts.
  vector<uint64> getPostSizes() const {
    vector<uint64> sizes;
    for (const Request& post : getPosts()) {
      qxVariantMapImpl body;
      json::Json2Variant::Convert(post.body.data(), post.body.size(), body);
      sizes.push_back(body.getValue("docs", {}).toList().size());
    }
    return sizes;
  }

  UpdateRecorder recorder;
  /// As JSON.
  string lastSequence = "0";
  /// The answers to the requests for changes, one after the other; then none are left.
  vector<string> changes;
  std::function<Reply(const Request&)> answerDocuments = AnswerAll;

 private:
  string nextChanges() {
    if (mNextChanges < changes.size()) return changes[mNextChanges++];
    return R"({"results":[]})";
  }

  size_t mNextChanges = 0;

 protected:
  ScriptedServer server;  // the first to go: its handler reaches all of the above
  couch::CouchConnectionParameters couchServer = Url(server.getUrl(""));
};

}  // namespace qx::test
