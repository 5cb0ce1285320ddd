#pragma once

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/json/JsonStreamer.h"
#include "netweft/base/system/qxStringUtils.h"
#include "netweft/couch/MultiThreadedDocumentGetter.h"
#include "tests/http/LibraryFixture.h"
#include "tests/support/FaultExemption.h"
#include "tests/support/ScriptedServer.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <mutex>

namespace qx::test {

/// The ids of a request to `_all_docs`.
inline vector<string> KeysOf(const Request& request) {
  qxVariantMapImpl body;
  json::Json2Variant::Convert(request.body.data(), request.body.size(), body);
  vector<string> keys;
  for (const qxVariant& key : body.getValue("keys", {}).toList()) keys.push_back(key.toString());
  return keys;
}

/// An answer that has every document asked for: `{"_id":<id>,"_rev":"1-x"}`.
inline Reply AnswerAll(const Request& request) {
  string rows;
  for (const string& key : KeysOf(request)) {
    const string id = "\"" + json::JsonStreamer::ConvertToJsonString(key) + "\"";
    rows += (rows.empty() ? "" : ",") + (R"({"id":)" + id) + R"(,"key":)" + id +
            R"(,"value":{"rev":"1-x"},"doc":{"_id":)" + id + R"(,"_rev":"1-x"}})";
  }
  return Reply::Json(200, R"({"total_rows":9,"offset":0,"rows":[)" + rows + "]}");
}

/// Ids "a0000000", "a0000001", ... in ascending order.
inline vector<string> MakeIds(int count) {
  vector<string> ids;
  for (int i = 0; i < count; ++i) {
    const string digits = qxStringUtils::fromInt(i, 1);
    ids.push_back("a" + string(7 - digits.size(), '0') + digits);
  }
  return ids;
}

/// What the callbacks of one getter were called with.
class DeliveryRecorder {
 public:
  using Getter = couch::MultiThreadedDocumentGetter;

  struct Delivery {
    string id;
    string doc;
    string error;
    Getter::DocumentResult result;
    void* threadData;
  };

  static void OnDocument(Getter& getter, const string& id, qxVariantMapImpl& doc, const string& error,
                         Getter::DocumentResult result, void* userData, void* threadData) {
    const FaultExemption own;
    DeliveryRecorder& self = *static_cast<DeliveryRecorder*>(userData);
    string json;
    json::Json2Variant::Convert(doc, json, false);
    {
      const std::lock_guard lock(self.mMutex);
      self.mDeliveries.push_back({id, json, error, result, threadData});
    }
    if (self.onDocument != nullptr) self.onDocument(getter, id);
  }
  static void OnCreate(Getter&, void* userData, void*& threadData) {
    DeliveryRecorder& self = *static_cast<DeliveryRecorder*>(userData);
    threadData = &self.marks.at(static_cast<size_t>(self.created++));
    if (self.onCreate != nullptr) self.onCreate();
  }
  static void OnDelete(Getter&, void* userData, void*& threadData) {
    DeliveryRecorder& self = *static_cast<DeliveryRecorder*>(userData);
    EXPECT_NE(threadData, nullptr);
    ++self.deleted;
  }

  vector<Delivery> getDeliveries() const {
    const std::lock_guard lock(mMutex);
    return mDeliveries;
  }
  /// Sorted, with repetitions.
  vector<string> getIds() const {
    vector<string> ids;
    for (const Delivery& delivery : getDeliveries()) ids.push_back(delivery.id);
    std::sort(ids.begin(), ids.end());
    return ids;
  }
  uint64 size() const { return getDeliveries().size(); }

  std::function<void(Getter& getter, const string& id)> onDocument;
  std::function<void()> onCreate;
  std::atomic<int> created{0};
  std::atomic<int> deleted{0};
  vector<char> marks = vector<char>(64);

 private:
  mutable std::mutex mMutex;
  vector<Delivery> mDeliveries;
};

class DocumentGetterFixture : public LibraryFixture {
 protected:
  using Getter = couch::MultiThreadedDocumentGetter;

  unique_ptr<Getter> make(unsigned int threads = 1, unsigned int batchSize = 100,
                          Getter::DocContent content = Getter::DC_Document) {
    return std::make_unique<Getter>(couchServer, "db", DeliveryRecorder::OnDocument, &recorder, nullptr, nullptr,
                                    threads, batchSize, content);
  }
  unique_ptr<Getter> makeWithThreadData(unsigned int threads, unsigned int batchSize = 100) {
    return std::make_unique<Getter>(couchServer, "db", DeliveryRecorder::OnDocument, &recorder,
                                    DeliveryRecorder::OnCreate, DeliveryRecorder::OnDelete, threads, batchSize,
                                    Getter::DC_Document);
  }
  /// One getter, these ids, to the end.
  bool fetch(const vector<string>& ids, unsigned int threads = 1, unsigned int batchSize = 100,
             Getter::DocContent content = Getter::DC_Document) {
    const unique_ptr<Getter> getter = make(threads, batchSize, content);
    getter->addJobs(ids);
    return getter->waitUntilAllJobsAreDone(nullptr);
  }

  DeliveryRecorder recorder;
  ScriptedServer server{AnswerAll};
  couch::CouchConnectionParameters couchServer = Url(server.getUrl(""));
};

}  // namespace qx::test
