#include "tests/river/RiverWorld.h"

#include "netweft/base/system/internal/Clock.h"
#include "tests/support/FaultExemption.h"

#include <algorithm>
#include <thread>

namespace qx::couch::test {

namespace {

/// The filter is a plain function: what it is to do stands here, one test at a time.
struct FilterScript {
  std::mutex mutex;
  map<string, shared_ptr<ThreadHold>> holds;
  set<pair<string, string>> refused;
  list<shared_ptr<ThreadHold>> kept;
};

FilterScript& Filter() {
  static FilterScript script;
  return script;
}

}  // namespace

RiverWorld::RiverWorld() {
  mParameters.couch = mCouch.getServer();
  mParameters.es = mEs.getServer();
  mParameters.changesCallback = OnMessage;
  mParameters.changesCallbackContext = this;
  mParameters.documentFilter = OnDocument;
  mParameters.workerCount = 2;
}

RiverWorld::~RiverWorld() {
  {
    const std::lock_guard lock(mMutex);
    for (const auto& [db, hold] : mHolds) hold->release();
  }
  {
    const std::lock_guard lock(Filter().mutex);
    for (const auto& hold : Filter().kept) hold->release();
    Filter().holds.clear();
    Filter().refused.clear();
  }
  mCouch.openGates();
  mEs.openGates();
  mRiver.reset();
  const std::lock_guard lock(Filter().mutex);
  Filter().kept.clear();
}

void RiverWorld::start() { mRiver = std::make_unique<CouchToEsRiverManager>(mParameters); }

IndexDefinition RiverWorld::Definition(const string& db, const string& index, const string& version) {
  IndexDefinition definition;
  definition.dbName = db;
  definition.indexName = index;
  definition.applicationVersion = version;
  definition.mappingRevision = "rev-" + version;
  return definition;
}

void RiverWorld::open(const string& db, const string& index) {
  const uint64 before = openings(db);
  addIndex(db, index);
  ASSERT_TRUE(untilOpenings(db, before + 1)) << db;
}

bool RiverWorld::Until(const std::function<bool()>& condition) {
  const auto end = Clock::now() + std::chrono::seconds(60);
  while (!condition()) {
    if (Clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

bool RiverWorld::untilLine(const CapturedLine& line, uint64 count) const {
  return Until([&] { return mLog.count(line) >= count; });
}

bool RiverWorld::untilDocument(const string& index, const string& id) const {
  return Until([&] { return mEs.getDocuments(index).contains(id); });
}

bool RiverWorld::untilSeen(const string& db, const string& id) const {
  return Until([&] {
    const std::lock_guard lock(mMutex);
    return std::any_of(mMessages.begin(), mMessages.end(), [&](const Message& message) {
      return message.db == db && message.id == id && message.message == ChangesListener::CM_NewChange;
    });
  });
}

bool RiverWorld::untilAt(const string& index, uint64 seq) {
  return Until([&] {
    uint64 found = 0;
    return mRiver->getIndexInfo(index, nullptr, &found, nullptr) && found == seq;
  });
}

uint64 RiverWorld::openings(const string& db) const {
  const string begin = db + " => Start listening changefeed from ";
  const vector<CapturedLine> lines = mLog.getLines(LT_Detail);
  return static_cast<uint64>(std::count_if(lines.begin(), lines.end(),
                                           [&](const CapturedLine& line) { return line.text.starts_with(begin); }));
}

uint64 RiverWorld::messages(const string& db, ChangesListener::CallbackMsg message) const {
  const std::lock_guard lock(mMutex);
  return static_cast<uint64>(std::count_if(mMessages.begin(), mMessages.end(), [&](const Message& seen) {
    return seen.db == db && seen.message == message;
  }));
}

string RiverWorld::meta(const string& index, const string& key) const {
  const qxVariantMapImpl mapping = mEs.getIndex(index).mapping;
  const qxVariant* value = mapping.findValuePath("_meta/" + key, '/');
  return value == nullptr ? "" : value->toString();
}

void RiverWorld::awaitPasses() {
  // A database is opened behind those that sort before it, in one walk.
  for (int i = 0; i < 2; ++i) {
    const string name = "pass-" + std::to_string(++mAdded);
    open(name, name);
  }
}

void RiverWorld::awaitTurns() {
  awaitPasses();
  const string name = "turn-" + std::to_string(++mAdded);
  open(name, name);
  for (const char* id : {"first", "second"}) {
    // Worker time is counted in seconds, and who has waited longest comes first.
    impl::AdvanceClock(1100);
    mCouch.put(name, id);
    ASSERT_TRUE(untilDocument(name, id));
  }
}

void RiverWorld::holdControl() {
  shared_ptr<ThreadHold> hold;
  {
    const std::lock_guard lock(mMutex);
    mHeldDb = "zz-" + std::to_string(++mAdded);
    hold = mHolds[mHeldDb] = std::make_shared<ThreadHold>();
  }
  addIndex(mHeldDb, mHeldDb);
  ASSERT_TRUE(hold->waitForArrival());
}

void RiverWorld::letControlGo() {
  const std::lock_guard lock(mMutex);
  mHolds.at(mHeldDb)->release();
}

ThreadHold& RiverWorld::holdFilter(const string& index) {
  const std::lock_guard lock(Filter().mutex);
  Filter().kept.push_back(Filter().holds[index] = std::make_shared<ThreadHold>());
  return *Filter().kept.back();
}

void RiverWorld::Refuse(const string& index, const string& id) {
  const std::lock_guard lock(Filter().mutex);
  Filter().refused.insert({index, id});
}

void RiverWorld::OnMessage(ChangesListener::CallbackMsg message, const ChangesListener::CallbackParam& param,
                           void* context) {
  const qx::test::FaultExemption own;
  auto& world = *static_cast<RiverWorld*>(context);
  shared_ptr<ThreadHold> hold;
  {
    const std::lock_guard lock(world.mMutex);
    world.mMessages.push_back({param.dbName, message, param.docId});
    if (const auto found = world.mHolds.find(param.dbName); found != world.mHolds.end()) hold = found->second;
  }
  if (hold != nullptr) hold->stand();
}

bool RiverWorld::OnDocument(qxVariantMapImpl& document, const string& index) {
  const qx::test::FaultExemption own;
  shared_ptr<ThreadHold> hold;
  bool refused = false;
  {
    const std::lock_guard lock(Filter().mutex);
    refused = Filter().refused.contains({index, document.getString("_id", "")});
    if (const auto found = Filter().holds.find(index); found != Filter().holds.end()) {
      hold = found->second;
      Filter().holds.erase(found);
    }
  }
  if (hold != nullptr) hold->stand();
  return !refused;
}

}  // namespace qx::couch::test
