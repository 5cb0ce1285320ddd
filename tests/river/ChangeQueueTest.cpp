#include "netweft/river/internal/ChangeQueue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace qx::couch {
namespace {

using namespace std::string_view_literals;

ChangeRecord Record(std::string_view id, uint64 seq = 0) {
  ChangeRecord record;
  record.id = DocumentId(id);
  record.setSeq(seq);
  return record;
}

/// "id:seq" in queue order.
vector<string> Order(ChangeQueue& queue) {
  vector<string> order;
  for (const ChangeRecord& record : queue)
    order.push_back(record.id.toString() + ":" + std::to_string(record.getSeq()));
  return order;
}

ChangeQueue Filled(const vector<string>& ids) {
  ChangeQueue queue;
  uint64 seq = 0;
  for (const string& id : ids) queue.insert(Record(id, ++seq), queue.end(), ChangeQueue::IM_Leave);
  return queue;
}

TEST(ChangeQueue, ANewIdGoesToTheEndWithoutAPosition) {
  for (const auto mode : {ChangeQueue::IM_Leave, ChangeQueue::IM_Return, ChangeQueue::IM_Move}) {
    ChangeQueue queue = Filled({"a"});
    const ChangeQueue::Insertion insertion = queue.insert(Record("b", 9), queue.end(), mode);
    EXPECT_TRUE(insertion.inserted);
    EXPECT_EQ(insertion.element->getSeq(), 9U);
    EXPECT_EQ(Order(queue), (vector<string>{"a:1", "b:9"}));
  }
}

TEST(ChangeQueue, ANewIdGoesInFrontOfThePosition) {
  for (const auto mode : {ChangeQueue::IM_Leave, ChangeQueue::IM_Return, ChangeQueue::IM_Move}) {
    ChangeQueue queue = Filled({"a", "b"});
    queue.insert(Record("x", 9), std::next(queue.begin()), mode);
    EXPECT_EQ(Order(queue), (vector<string>{"a:1", "x:9", "b:2"}));
  }
}

TEST(ChangeQueue, LeaveKeepsAPresentIdAndSaysSo) {
  ChangeQueue queue = Filled({"a", "b"});
  const ChangeQueue::Insertion insertion = queue.insert(Record("a", 9), queue.end(), ChangeQueue::IM_Leave);
  EXPECT_FALSE(insertion.inserted);
  EXPECT_EQ(insertion.element, nullptr);
  EXPECT_EQ(Order(queue), (vector<string>{"a:1", "b:2"}));
}

TEST(ChangeQueue, ReturnHandsOutAPresentIdWhereItStands) {
  ChangeQueue queue = Filled({"a", "b"});
  const ChangeQueue::Insertion insertion = queue.insert(Record("a", 9), queue.end(), ChangeQueue::IM_Return);
  EXPECT_FALSE(insertion.inserted);
  EXPECT_EQ(insertion.element, &*queue.begin());
  EXPECT_EQ(Order(queue), (vector<string>{"a:1", "b:2"}));
}

TEST(ChangeQueue, MoveTakesAPresentIdToTheEndWithoutAPosition) {
  ChangeQueue queue = Filled({"a", "b", "c"});
  const ChangeQueue::Insertion insertion = queue.insert(Record("a", 9), queue.end(), ChangeQueue::IM_Move);
  EXPECT_FALSE(insertion.inserted);
  EXPECT_EQ(insertion.element->getSeq(), 1U);
  EXPECT_EQ(Order(queue), (vector<string>{"b:2", "c:3", "a:1"}));
}

TEST(ChangeQueue, MoveTakesAPresentIdInFrontOfThePosition) {
  ChangeQueue queue = Filled({"a", "b", "c"});
  queue.insert(Record("c", 9), queue.begin(), ChangeQueue::IM_Move);
  EXPECT_EQ(Order(queue), (vector<string>{"c:3", "a:1", "b:2"}));
}

TEST(ChangeQueue, MoveInFrontOfItselfChangesNothing) {
  ChangeQueue queue = Filled({"a", "b", "c"});
  queue.insert(Record("b", 9), std::next(queue.begin()), ChangeQueue::IM_Move);
  EXPECT_EQ(Order(queue), (vector<string>{"a:1", "b:2", "c:3"}));
}

TEST(ChangeQueue, APresentIdLeavesTheGivenRecordToItsOwner) {
  ChangeQueue queue = Filled({"a"});
  ChangeRecord record = Record("a", 9);
  const ChangeQueue::Insertion insertion = queue.insert(std::move(record), queue.end(), ChangeQueue::IM_Move);
  EXPECT_EQ(record.id.view(), "a");
  insertion.element->id = std::move(record.id);
  insertion.element->setSeq(record.getSeq());
  EXPECT_EQ(Order(queue), vector<string>{"a:9"});
  EXPECT_FALSE(queue.insert(Record("a"), queue.end(), ChangeQueue::IM_Leave).inserted);
}

TEST(ChangeQueue, ANodeOfAnotherListIsTakenOverAsItStands) {
  ChangeQueue queue;
  ChangeQueue::List list;
  list.push_back(Record("a", 1));
  const ChangeRecord* address = &list.front();
  const ChangeQueue::Insertion insertion = queue.insert(list, list.begin(), queue.end(), ChangeQueue::IM_Move);
  EXPECT_EQ(insertion.element, address);
  EXPECT_TRUE(list.empty());
}

TEST(ChangeQueue, ANodeWithAPresentIdStaysInItsList) {
  ChangeQueue queue = Filled({"a", "b"});
  ChangeQueue::List list;
  list.push_back(Record("a", 9));
  EXPECT_FALSE(queue.insert(list, list.begin(), queue.end(), ChangeQueue::IM_Move).inserted);
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list.front().getSeq(), 9U);
  EXPECT_EQ(Order(queue), (vector<string>{"b:2", "a:1"}));
}

TEST(ChangeQueue, PopTakesTheHeadAndForgetsItsId) {
  ChangeQueue queue = Filled({"a", "b"});
  ChangeQueue::List out;
  const ChangeRecord* address = &*queue.begin();
  queue.popFront(out);
  EXPECT_EQ(&out.back(), address);
  EXPECT_EQ(Order(queue), vector<string>{"b:2"});
  EXPECT_TRUE(queue.insert(Record("a"), queue.end(), ChangeQueue::IM_Leave).inserted);
}

TEST(ChangeQueue, WhatWasPoppedGoesBackInFrontUnlessANewerChangeCame) {
  ChangeQueue queue = Filled({"a", "b", "c"});
  ChangeQueue::List batch;
  queue.popFront(batch);
  queue.popFront(batch);
  queue.insert(Record("a", 9), queue.end(), ChangeQueue::IM_Move);
  const ChangeQueue::Position front = queue.begin();
  while (!batch.empty()) {
    if (!queue.insert(batch, batch.begin(), front, ChangeQueue::IM_Leave).inserted) batch.pop_front();
  }
  EXPECT_EQ(Order(queue), (vector<string>{"b:2", "c:3", "a:9"}));
}

TEST(ChangeQueue, IdsThatDifferBehindANulAreDifferentDocuments) {
  ChangeQueue queue;
  queue.insert(Record("a"), queue.end(), ChangeQueue::IM_Leave);
  EXPECT_TRUE(queue.insert(Record("a\0b"sv), queue.end(), ChangeQueue::IM_Leave).inserted);
  EXPECT_EQ(queue.size(), 2U);
}

TEST(ChangeQueue, TheEmptyIdIsAnIdLikeAnyOther) {
  ChangeQueue queue;
  EXPECT_TRUE(queue.insert(Record(""), queue.end(), ChangeQueue::IM_Leave).inserted);
  EXPECT_FALSE(queue.insert(Record(""), queue.end(), ChangeQueue::IM_Leave).inserted);
}

TEST(ChangeQueue, ClearEmptiesAndForgets) {
  ChangeQueue queue = Filled({"a", "b"});
  queue.clear();
  EXPECT_TRUE(queue.empty());
  EXPECT_EQ(queue.size(), 0U);
  EXPECT_TRUE(queue.insert(Record("a"), queue.end(), ChangeQueue::IM_Leave).inserted);
}

TEST(ChangeQueue, AMovedQueueFindsItsElements) {
  ChangeQueue first = Filled({"a", "b"});
  ChangeQueue queue = std::move(first);
  EXPECT_FALSE(queue.insert(Record("b"), queue.end(), ChangeQueue::IM_Move).inserted);
  EXPECT_EQ(Order(queue), (vector<string>{"a:1", "b:2"}));
}

/// The same rules, told in the most naive way.
class NaiveQueue {
 public:
  vector<pair<string, uint64>> items;

  size_t find(const string& id) const {
    return static_cast<size_t>(
        std::find_if(items.begin(), items.end(), [&](const auto& item) { return item.first == id; }) - items.begin());
  }

  bool insert(const string& id, uint64 seq, size_t position, ChangeQueue::InsertMode mode) {
    const size_t present = find(id);
    if (present == items.size()) {
      items.insert(items.begin() + static_cast<long>(position), {id, seq});
      return true;
    }
    if (mode == ChangeQueue::IM_Move && position != present) {
      const pair<string, uint64> item = items[present];
      items.erase(items.begin() + static_cast<long>(present));
      const size_t target = position > present ? position - 1 : position;
      items.insert(items.begin() + static_cast<long>(target), item);
    }
    return false;
  }

  vector<string> order() const {
    vector<string> result;
    for (const auto& [id, seq] : items) result.push_back(id + ":" + std::to_string(seq));
    return result;
  }
};

/// A queue and its model under one random operation after another.
class Pair {
 public:
  explicit Pair(unsigned seed) : mRandom(seed) {}

  void step() {
    const auto choice = mRandom() % 100;
    if (choice == 0) {
      mQueue.clear();
      mModel.items.clear();
    } else if (choice < 25 && !mQueue.empty()) {
      pop();
    } else {
      insert();
    }
  }

  void compare() {
    ASSERT_EQ(Order(mQueue), mModel.order());
    ASSERT_EQ(mQueue.size(), mModel.items.size());
    ASSERT_EQ(mQueue.empty(), mModel.items.empty());
  }

 private:
  void pop() {
    ChangeQueue::List out;
    mQueue.popFront(out);
    EXPECT_EQ(out.front().id.view(), mModel.items.front().first);
    mModel.items.erase(mModel.items.begin());
  }

  void insert() {
    const string id = "d" + std::to_string(mRandom() % 40);
    const size_t position = mRandom() % (mModel.items.size() + 1);
    const auto mode = static_cast<ChangeQueue::InsertMode>(mRandom() % 3);
    ChangeQueue::List list;
    list.push_back(Record(id, ++mSeq));
    const ChangeQueue::Position at = std::next(mQueue.begin(), static_cast<long>(position));
    const ChangeQueue::Insertion insertion = mRandom() % 2 == 0 ? mQueue.insert(list, list.begin(), at, mode)
                                                                : mQueue.insert(std::move(list.front()), at, mode);
    EXPECT_EQ(insertion.inserted, mModel.insert(id, mSeq, position, mode));
    EXPECT_EQ(insertion.element == nullptr, !insertion.inserted && mode == ChangeQueue::IM_Leave);
    if (insertion.element != nullptr) takeNewer(*insertion.element, id);
  }

  /// As the control thread does: a present element takes the newer change.
  void takeNewer(ChangeRecord& element, const string& id) {
    EXPECT_EQ(element.id.view(), id);
    element.id = DocumentId(id);
    element.setSeq(mSeq);
    mModel.items[mModel.find(id)].second = mSeq;
  }

  std::mt19937 mRandom;
  ChangeQueue mQueue;
  NaiveQueue mModel;
  uint64 mSeq = 0;
};

TEST(ChangeQueue, BehavesAsANaiveOneOverRandomOperations) {
  for (unsigned seed = 1; seed <= 10; ++seed) {
    Pair pair(seed);
    for (int i = 0; i < 500; ++i) {
      pair.step();
      pair.compare();
      if (HasFatalFailure()) FAIL() << "seed " << seed << " step " << i;
    }
  }
}

}  // namespace
}  // namespace qx::couch
