#include "netweft/base/system/internal/ThreadData.h"

#include <gtest/gtest.h>

namespace qx::impl {
namespace {

struct Owner {
  int made = 0;
  int destroyed = 0;
};

using Callbacks = ThreadDataCallbacks<Owner>;

void Make(Owner& owner, void* userData, void*& threadData) {
  ++owner.made;
  threadData = userData;
}
void Destroy(Owner& owner, void*, void*& threadData) {
  ++owner.destroyed;
  threadData = nullptr;
}

TEST(ThreadDataTest, IsMadeOnceAndDestroyedOnce) {
  Owner owner;
  int user = 0;
  ThreadData<Owner> data;
  const Callbacks callbacks(Make, Destroy);
  data.make(callbacks, owner, &user);
  data.make(callbacks, owner, &user);
  EXPECT_EQ(data.get(), &user);
  data.destroy(callbacks, owner, &user);
  EXPECT_EQ(owner.made, 1);
  EXPECT_EQ(owner.destroyed, 1);
}

TEST(ThreadDataTest, WhatWasNeverMadeIsNotDestroyed) {
  Owner owner;
  ThreadData<Owner> data;
  data.destroy(Callbacks(Make, Destroy), owner, nullptr);
  EXPECT_EQ(owner.destroyed, 0);
}

TEST(ThreadDataTest, AHostThatMadeNoneIsAskedAgain) {
  Owner owner;
  ThreadData<Owner> data;
  data.make(Callbacks(Make, Destroy), owner, nullptr);
  data.make(Callbacks(Make, Destroy), owner, nullptr);
  EXPECT_EQ(owner.made, 2);
  data.destroy(Callbacks(Make, Destroy), owner, nullptr);
  EXPECT_EQ(owner.destroyed, 0);
}

TEST(ThreadDataTest, ALoneCallbackIsDropped) {
  EXPECT_EQ(Callbacks(Make, nullptr).create, nullptr);
  EXPECT_EQ(Callbacks(nullptr, Destroy).destroy, nullptr);
  EXPECT_EQ(Callbacks(Make, Destroy).create, &Make);
  EXPECT_EQ(Callbacks(Make, Destroy).destroy, &Destroy);
}

}  // namespace
}  // namespace qx::impl
