#include "netweft/couch/internal/ChangesListenerCore.h"

#include "netweft/base/system/qxLogObject.h"
#include "netweft/couch/internal/FeedHandle.h"
#include "netweft/couch/internal/ListenMachine.h"

#include <algorithm>

namespace qx::couch {

using namespace http::impl;

class ChangesListenerCore::Depth {
 public:
  explicit Depth(int& depth) : mDepth(depth) { ++mDepth; }
  Depth(const Depth&) = delete;
  Depth& operator=(const Depth&) = delete;
  ~Depth() { --mDepth; }

 private:
  int& mDepth;
};

ChangesListenerCore::ChangesListenerCore(const CouchConnectionParameters& server)
    : mServer(server), mMulti(CreateMultiHandle()) {}

ChangesListenerCore::~ChangesListenerCore() {
  while (!mRecords.empty()) stop(mRecords.begin());
  for (const auto& [name, record] : mGraveyard) releaseHandle(*record);
  const CURLMcode code = curl_multi_cleanup(mMulti);
  if (code != CURLM_OK) LogError() << "Error (" << static_cast<int>(code) << ") while releasing curl multi handle";
}

bool ChangesListenerCore::setServer(const CouchConnectionParameters& server) {
  if (!mRecords.empty()) return false;
  mServer = server;
  return true;
}

void ChangesListenerCore::start(unique_ptr<DbListenRecord> record, long connectTimeoutSec) {
  const int failed = SetUpFeedHandle(*record, connectTimeoutSec);
  if (failed != 0) LogError() << "Cdb change listener curl error " << failed;
  OnSetUp(*record);
  const string& name = record->dbName;
  mRecords.emplace(name, std::move(record));
}

bool ChangesListenerCore::stop(const string& db) {
  const auto found = mRecords.find(db);
  if (found == mRecords.end()) return false;
  stop(found);
  return true;
}

void ChangesListenerCore::stop(Records::iterator found) {
  auto node = mRecords.extract(found);
  DbListenRecord& record = *node.mapped();
  record.stopped = true;
  if (mDepth == 0) {
    releaseHandle(record);
  } else {
    mGraveyard.insert(std::move(node));
  }
}

bool ChangesListenerCore::pause(const string& db, bool isPaused) {
  const auto found = mRecords.find(db);
  if (found == mRecords.end()) return false;
  {
    const Depth depth(mDepth);
    DbListenRecord& record = *found->second;
    // Lifting a pause hands over what was read before it. When that is refused, libcurl tells it here and reads on.
    const CURLcode code = curl_easy_pause(record.handle.get(), isPaused ? CURLPAUSE_ALL : CURLPAUSE_CONT);
    if (code == CURLE_WRITE_ERROR) record.refused = true;
  }
  if (mDepth == 0) leaveCallbacks();
  return true;
}

void ChangesListenerCore::getListened(set<string>& out) const {
  out.clear();
  for (const auto& [name, record] : mRecords) {
    if (!record->isServerWide()) out.insert(name);
  }
}

void ChangesListenerCore::update(int timeoutMs) {
  if (mDepth != 0) return;
  qxHighResTimer timer;
  timer.start();
  do {
    runPass();
  } while (isAnyActive() && static_cast<int64>(timer.getElapsedTimeInMilliSec()) < timeoutMs);
}

void ChangesListenerCore::runPass() {
  {
    const Depth depth(mDepth);
    tickAll();
    // Three times, so that a request and its first answer can pass in one pass.
    for (int i = 0; i < 3; ++i) perform();
    readDone();
  }
  leaveCallbacks();
}

void ChangesListenerCore::tickAll() {
  for (auto it = mRecords.begin(); it != mRecords.end();) {
    DbListenRecord& record = *it->second;  // outlives its tick, in the graveyard if need be
    tick(record);
    it = mRecords.upper_bound(record.dbName);
  }
}

void ChangesListenerCore::tick(DbListenRecord& record) {
  const ListenAction action = OnTick(record);
  if (action == LA_Nothing) return;
  OnArmed(record, arm(record, BuildRequestUrl(record, mServer, action).toEncodedUrl()));
}

bool ChangesListenerCore::arm(DbListenRecord& record, const string& url) {
  record.receiveBuffer.clear();
  const int urlCode = SetText(record.handle.get(), CURLOPT_URL, url.c_str());
  if (urlCode != 0) {
    LogError() << "Fail to set url " << urlCode;
    return false;
  }
  const CURLMcode addCode = curl_multi_add_handle(mMulti, record.handle.get());
  if (addCode != CURLM_OK) LogError() << "Fail to add easy handle " << static_cast<int>(addCode);
  return addCode == CURLM_OK;
}

void ChangesListenerCore::perform() {
  int running = 0;
  const CURLMcode code = curl_multi_perform(mMulti, &running);
  if (code != CURLM_OK) LogError() << "Multi perform error " << static_cast<int>(code);
}

void ChangesListenerCore::readDone() {
  int queued = 0;
  while (const CURLMsg* message = curl_multi_info_read(mMulti, &queued)) {
    if (message->msg != CURLMSG_DONE) continue;
    CURL* const handle = message->easy_handle;
    const CURLcode result = message->data.result;  // the message dies with the removal
    DbListenRecord* const record = findByHandle(handle);
    removeHandle(handle);
    if (record == nullptr) {
      LogError() << "Unknown easy handle";
      break;
    }
    endTransfer(*record, result);
  }
}

void ChangesListenerCore::removeHandle(CURL* handle) {
  const CURLMcode code = curl_multi_remove_handle(mMulti, handle);
  if (code != CURLM_OK) LogError() << "Fail to remove handle " << static_cast<int>(code);
}

void ChangesListenerCore::endTransfer(DbListenRecord& record, CURLcode result) {
  record.refused = false;
  if (record.stopped) return;
  const bool isKnown = record.exceptions.run(false, [&] {
    OnTransferDone(record, result, GetLong(record.handle.get(), CURLINFO_RESPONSE_CODE));
    return true;
  });
  if (!isKnown) OnTransferLost(record);
}

void ChangesListenerCore::endRefusedTransfers() {
  const Depth depth(mDepth);
  const auto findRefused = [this] {
    return std::find_if(mRecords.begin(), mRecords.end(), [](const auto& entry) { return entry.second->refused; });
  };
  for (auto it = findRefused(); it != mRecords.end(); it = findRefused()) {
    removeHandle(it->second->handle.get());
    endTransfer(*it->second, CURLE_WRITE_ERROR);
  }
}

void ChangesListenerCore::releaseHandle(DbListenRecord& record) {
  if (record.handle == nullptr) return;
  static_cast<void>(curl_multi_remove_handle(mMulti, record.handle.get()));
  record.handle.reset();
}

void ChangesListenerCore::leaveCallbacks() {
  endRefusedTransfers();
  for (const auto& [name, record] : mGraveyard) releaseHandle(*record);
  // A throw leaves the rest for the next time.
  for (const auto& [name, record] : mGraveyard) record->exceptions.rethrow();
  mGraveyard.clear();
  for (const auto& [name, record] : mRecords) record->exceptions.rethrow();
}

DbListenRecord* ChangesListenerCore::findByHandle(const CURL* handle) const {
  for (const auto& [name, record] : mRecords) {
    if (record->handle.get() == handle) return record.get();
  }
  for (const auto& [name, record] : mGraveyard) {
    if (record->handle.get() == handle) return record.get();
  }
  return nullptr;
}

bool ChangesListenerCore::isAnyActive() const {
  return std::any_of(mRecords.begin(), mRecords.end(), [](const auto& entry) { return entry.second->activity; });
}

}  // namespace qx::couch
