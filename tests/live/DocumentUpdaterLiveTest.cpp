#include "netweft/couch/MultiThreadedDocumentUpdater.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxStringUtils.h"
#include "netweft/base/system/qxTimer.h"
#include "tests/live/CouchWorld.h"
#include "tests/live/MixedDocuments.h"
#include "tests/support/LogCapture.h"

#include <atomic>
#include <fstream>
#include <iostream>
#include <thread>

namespace qx::test {
namespace {

using Updater = couch::MultiThreadedDocumentUpdater;

/// Counts what one run of the updater does.
struct UpdateBook {
  std::atomic<uint64> marked{0};
  std::atomic<uint64> empty{0};
  std::atomic<uint64> design{0};
};

/// Marks each document once.
bool Mark(qxVariantMapImpl& doc, void* userData, void*) {
  UpdateBook& book = *static_cast<UpdateBook*>(userData);
  if (doc.empty()) ++book.empty;
  const bool isDesign = qxStringUtils::StartsWith(doc.getString("_id", ""), "_design/");
  if (isDesign) ++book.design;
  if (doc.empty() || isDesign || doc.contains("marked")) return false;
  doc["marked"] = true;
  ++book.marked;
  return true;
}

uint64 PeakKiB() {
  std::ifstream status("/proc/self/status");
  for (string line; std::getline(status, line);) {
    if (line.rfind("VmHWM:", 0) == 0) return std::strtoull(line.c_str() + 6, nullptr, 10);
  }
  return 0;
}

/// From now on the peak counts anew.
void ForgetPeak() { std::ofstream("/proc/self/clear_refs") << "5"; }

/// Takes out what a writing changes by itself: an attachment that comes with its data counts as new.
void ForgetRevisions(qxVariantMapImpl& document) {
  document.remove("_rev");
  const auto attachments = document.find("_attachments");
  if (attachments == document.end()) return;
  for (auto& [name, attachment] : attachments->second.editMap()) attachment.editMap().remove("revpos");
}

class DocumentUpdaterLiveTest : public CouchWorld {
 protected:
  void SetUp() override {
    CouchWorld::SetUp();
    if (IsSkipped()) return;
    mDb = freshName("update");
    createDatabase(mDb);
  }

  void TearDown() override {
    if (!HasFailure()) return;
    for (const CapturedLine& line : mLog.getLines()) {
      if (line.type != LT_Detail) std::cout << line << "\n";
    }
  }

  void writeMixed(uint64 count) {
    MixedDocuments documents(11);
    for (uint64 first = 0; first < count; first += 500) bulkDocs(mDb, documents.makeMany(first, 500));
  }

  /// One run over the whole database.
  void run(UpdateBook& book, unsigned int threads = 4, unsigned int batchSize = 100) {
    const couch::CouchConnectionParameters server = Url(couch().getUrl());
    Updater updater(server, mDb, Mark, nullptr, nullptr, &book, threads, batchSize);
    // A server that says nothing for ten seconds, so busy is it, fails the listing: once more.
    for (int attempt = 1; !updater.applyOnEntireDb(nullptr); ++attempt) ASSERT_LT(attempt, 10);
    EXPECT_TRUE(updater.waitForAllUpdate(nullptr));
  }

  /// All live documents with their content.
  map<string, qxVariantMapImpl> read() {
    string reply;
    request("GET", couch().getUrl() + "/" + mDb + "/_all_docs?include_docs=true&attachments=true", "", &reply);
    qxVariantMapImpl answer;
    json::Json2Variant::Convert(reply.data(), reply.size(), answer);
    map<string, qxVariantMapImpl> documents;
    for (const qxVariant& row : answer.getValue("rows", {}).toList()) {
      documents[row.getMap().getString("id", "")] = row.getMap().getValue("doc", {}).toMap();
    }
    return documents;
  }

  LogCapture mLog;
  string mDb;
};

TEST_F(DocumentUpdaterLiveTest, EveryDocumentIsMarkedAndOtherwiseAsItWas) {
  writeMixed(2000);
  map<string, qxVariantMapImpl> before = read();
  UpdateBook book;
  run(book);
  EXPECT_EQ(book.marked, 2000u);
  const map<string, qxVariantMapImpl> after = read();
  ASSERT_EQ(after.size(), before.size());
  for (auto [id, document] : after) {
    EXPECT_TRUE(document.remove("marked")) << id;
    ForgetRevisions(document);
    ForgetRevisions(before.at(id));
    EXPECT_EQ(document, before.at(id)) << id;
  }
}

TEST_F(DocumentUpdaterLiveTest, AWholeDatabaseIsMarkedWithWritersAndDeletionsBesideIt) {
  const uint64 count = LoadSize();
  writeMixed(count);
  bulkDocs(mDb, R"([{"_id":"_design/d","views":{}}])");
  for (uint64 i = 0; i < 20; ++i) ASSERT_TRUE(remove(mDb, MixedDocuments::id(i)));

  bool stop = false;
  std::thread writer([&] {
    for (uint64 i = 20; !ReadFlag(stop); i = 20 + (i + 7) % (count - 20)) {
      const string id = MixedDocuments::id(i);
      if (i % 5 == 0) {
        remove(mDb, id);
        continue;
      }
      const string body = R"({"edited":true,"_rev":")" + revisionOf(mDb, id) + "\"}";
      request("PUT", couch().getUrl() + "/" + mDb + "/" + Url::UrlEncodeFromUtf8String(id), body);
    }
  });
  const qxTimer timer(true);
  UpdateBook book;
  run(book);
  std::cout << book.marked << " marked, " << book.empty << " empty, in " << timer.getElapsedMs() << " ms" << std::endl;
  StoreFlag(stop, true);
  writer.join();

  EXPECT_GE(book.design, 1u);  // more than once if it was listed again
  UpdateBook rest;
  run(rest);
  UpdateBook none;
  run(none);
  EXPECT_EQ(none.marked, 0u);
  EXPECT_FALSE(mLog.contains(LT_Error, "_bulk_docs error"));
}

TEST_F(DocumentUpdaterLiveTest, TheLogCountsEveryLivingDocumentAndNoDeletedOne) {
  writeMixed(1000);
  bulkDocs(mDb, R"([{"_id":"_design/d","views":{}}])");
  for (uint64 i = 0; i < 20; ++i) ASSERT_TRUE(remove(mDb, MixedDocuments::id(i)));
  mLog.clear();
  UpdateBook book;
  run(book, 8, 50);
  EXPECT_EQ(book.marked, 980u);
  EXPECT_TRUE(mLog.contains(LT_Detail, "Update 981 doc(s) of " + mDb + " in "));
}

TEST_F(DocumentUpdaterLiveTest, MemoryDoesNotGrowWithTheDatabase) {
#if defined(NETWEFT_SANITIZED)
  GTEST_SKIP() << "a sanitizer keeps what was freed";
#endif
  const string text(4000, 'x');
  uint64 written = 0;
  const auto writeUpTo = [&](uint64 count) {
    for (; written < count; written += 500) {
      string documents;
      for (uint64 i = 0; i < 500; ++i) documents += (i == 0 ? "" : ",") + (R"({"text":")" + text) + "\"}";
      bulkDocs(mDb, "[" + documents + "]");
    }
  };
  const auto peakOfARun = [&] {
    ForgetPeak();
    UpdateBook book;
    run(book);
    return PeakKiB();
  };
  writeUpTo(2500);
  peakOfARun();  // the allocator's own room
  writeUpTo(5000);
  const uint64 small = peakOfARun();
  writeUpTo(20'000);  // fifteen thousand more to mark, of 60 MB
  const uint64 large = peakOfARun();
  std::cout << "peak " << small << " KiB with 5,000 documents, " << large << " KiB with 20,000" << std::endl;
  EXPECT_LT(large, small + 20 * 1024);
}

TEST_F(DocumentUpdaterLiveTest, ADestructorAtAnyMomentEndsTheRun) {
  writeMixed(2000);
  const couch::CouchConnectionParameters server = Url(couch().getUrl());
  for (const unsigned long ms : {0UL, 5UL, 20UL, 80UL, 200UL}) {
    UpdateBook book;
    Updater updater(server, mDb, Mark, nullptr, nullptr, &book, 4, 10);
    EXPECT_TRUE(updater.applyOnEntireDb(nullptr));
    qxThread::msleep(ms);
  }
  EXPECT_TRUE(mLog.getLines(LT_Error).empty());
}

TEST_F(DocumentUpdaterLiveTest, AServerKilledInMidRunEndsTheWritingWithAnErrorAndNothingIsLostInTheDatabase) {
  writeMixed(3000);
  UpdateBook book;
  std::thread killer([&] {
    while (book.marked < 500) qxThread::msleep(1);
    couch().kill();
  });
  run(book, 4, 20);
  killer.join();
  couch().restart();
  EXPECT_FALSE(mLog.getLines(LT_Error).empty());
  UpdateBook rest;
  run(rest);
  EXPECT_GT(rest.marked, 0u);
  uint64 marked = 0;
  for (const auto& [id, document] : read()) marked += document.contains("marked") ? 1U : 0U;
  EXPECT_EQ(marked, 3000u);
}

#if defined(NETWEFT_BULK_READ)
TEST_F(DocumentUpdaterLiveTest, TheExampleMarksEveryDocument) {
  writeMixed(500);
  const string url = couch().getUrl() + "/" + mDb;
  ChildProcess example({NETWEFT_BULK_READ, "update", url, "4", "50"});
  string line;
  ASSERT_TRUE(example.readLine(line, 300'000));
  EXPECT_EQ(line, "500 documents marked");
  ASSERT_TRUE(example.readLine(line, 300'000));
  EXPECT_EQ(line, "0 documents marked");
  EXPECT_EQ(example.wait(60'000), 0);
}
#endif

}  // namespace
}  // namespace qx::test
