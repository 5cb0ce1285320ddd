#include "netweft/base/system/internal/qxVariantWalk.h"

#include "netweft/base/system/qxVariant.h"
#include "tests/support/AllocationHooks.h"

#include <gtest/gtest.h>

namespace qx {
namespace {

/// More levels than a stack of 8 MiB has room for.
constexpr int sLevels = 200'000;

qxVariantMapImpl DeepMap(int levels, int innermost) {
  qxVariantMapImpl root;
  qxVariantMapImpl* map = &root;
  for (int i = 1; i < levels; ++i) map = &(*map)["a"].editMap();
  (*map)["a"] = innermost;
  return root;
}

qxVariantListImpl DeepList(int levels, int innermost) {
  qxVariantListImpl root;
  qxVariantListImpl* list = &root;
  for (int i = 1; i < levels; ++i) list = &list->push_back(qxVariant()).editList();
  list->push_back(innermost);
  return root;
}

/// Maps and lists in turn, with neighbours on each level.
qxVariant DeepMixture(int levels) {
  qxVariant root;
  qxVariant* value = &root;
  for (int i = 0; i < levels; ++i) {
    value->editMap()["before"] = "text";
    value->editMap()["list"].editList().push_back(i);
    value = &value->editMap()["list"].editList().push_back(qxVariant());
  }
  return root;
}

TEST(qxVariantWalk, MapOfAMillionLevelsIsCopiedComparedAndDestroyed) {
  const qxVariantMapImpl map = DeepMap(1'000'000, 1);
  const qxVariantMapImpl copy(map);
  EXPECT_TRUE(copy == map);
}

TEST(qxVariantWalk, DifferenceAtTheBottomOfADeepMapIsSeen) { EXPECT_FALSE(DeepMap(sLevels, 1) == DeepMap(sLevels, 2)); }

TEST(qxVariantWalk, DeepMapIsAssignedAndCleared) {
  qxVariantMapImpl map = DeepMap(sLevels, 1);
  qxVariantMapImpl other = DeepMap(sLevels, 2);
  other = map;
  EXPECT_TRUE(other == map);
  other.clear();
  map = qxVariantMapImpl();
  EXPECT_TRUE(map.empty());
}

TEST(qxVariantWalk, RemovingADeepKeyIsSafe) {
  qxVariantMapImpl map = DeepMap(sLevels, 1);
  EXPECT_TRUE(map.remove("a"));
}

TEST(qxVariantWalk, DeepListIsCopiedComparedAndDestroyed) {
  const qxVariantListImpl list = DeepList(sLevels, 1);
  const qxVariantListImpl copy(list);
  EXPECT_TRUE(copy == list);
  EXPECT_FALSE(copy == DeepList(sLevels, 2));
}

TEST(qxVariantWalk, DeepMixtureIsCopiedComparedAndDestroyed) {
  qxVariant value = DeepMixture(sLevels / 2);
  qxVariant copy(value);
  EXPECT_TRUE(copy == value);
  copy = 5;
  value.setType(qxVariant::VT_List);
  EXPECT_TRUE(value.getList().empty());
}

TEST(qxVariantWalk, DeepPieceOfItselfCanBeAssigned) {
  qxVariant value(DeepMap(sLevels, 1));
  value = value.editMap()["a"];
  EXPECT_TRUE(value == qxVariant(DeepMap(sLevels - 1, 1)));
}

TEST(qxVariantWalk, TeardownAllocatesNothing) {
  auto value = std::make_unique<qxVariant>(DeepMixture(1000));
  const size_t before = test::CountAllocations();
  value.reset();
  EXPECT_EQ(test::CountAllocations(), before);
}

TEST(qxVariantWalk, TeardownGivesEverythingBack) {
  const long before = test::CountLiveAllocations();
  {
    const qxVariant value = DeepMixture(1000);
    const qxVariant copy(value);
    EXPECT_TRUE(copy == value);
  }
  EXPECT_EQ(test::CountLiveAllocations(), before);
}

TEST(qxVariantWalk, AbandonedCopyGivesEverythingBack) {
  const qxVariant value = DeepMixture(1000);
  const long before = test::CountLiveAllocations();
  {
    const test::AllocationLimit limit(3000);
    EXPECT_THROW(qxVariant copy(value), std::bad_alloc);
  }
  EXPECT_EQ(test::CountLiveAllocations(), before);
}

}  // namespace
}  // namespace qx
