#include "netweft/base/system/internal/qxVariantWalk.h"

#include "netweft/base/system/qxVariant.h"
#include "tests/support/AllocationHooks.h"

#include <gtest/gtest.h>

#include <random>

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

/// Value for value, by the public interface alone.
qxVariant CopyByHand(const qxVariant& from) {
  qxVariant to;
  if (from.getType() == qxVariant::VT_Map) {
    to.setType(qxVariant::VT_Map);
    for (const auto& [key, value] : from.getMap()) to.editMap()[key] = CopyByHand(value);
  } else if (from.getType() == qxVariant::VT_List) {
    to.setType(qxVariant::VT_List);
    for (const qxVariant& element : from.getList()) to.editList().push_back(CopyByHand(element));
  } else {
    to = from;
  }
  return to;
}

/// A value of every kind, with up to four more below each map and list.
qxVariant RandomValue(std::mt19937& random, int levels) {
  const unsigned int kind = static_cast<unsigned int>(random() % (levels > 0 ? 8 : 6));
  qxVariant value;
  if (kind == 0) value = static_cast<int64>(random());
  if (kind == 1) value = string(random() % 40, 'x');
  if (kind == 2) value = random() % 2 == 0;
  if (kind == 3) value = 0.5;
  if (kind == 4) qxVariantAccess::SetNull(value);
  if (kind == 5) qxVariantAccess::SetNumber(value, "1e400");
  if (kind == 6) value.setType(qxVariant::VT_Map);
  if (kind == 7) value.setType(qxVariant::VT_List);
  for (unsigned int i = 0; kind >= 6 && i < random() % 5; ++i) {
    const string key(random() % 20, static_cast<char>('a' + i));
    (kind == 6 ? value.editMap()[key] : value.editList().push_back(qxVariant())) = RandomValue(random, levels - 1);
  }
  return value;
}

TEST(qxVariantWalk, ACopyIsWhatACopyByHandIs) {
  std::mt19937 random(17);
  for (int i = 0; i < 300; ++i) {
    const qxVariant value = RandomValue(random, 6);
    const qxVariant copy(value);
    EXPECT_TRUE(copy == CopyByHand(value));
    EXPECT_EQ(copy.toString(), CopyByHand(value).toString());
  }
}

TEST(qxVariantWalk, ACopyIsNotChangedWithItsSource) {
  qxVariant value = DeepMixture(3);
  const qxVariant copy(value);
  value.editMap()["list"].editList()[1].editMap()["before"] = "changed";
  EXPECT_TRUE(copy == DeepMixture(3));
  EXPECT_FALSE(copy == value);
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

TEST(qxVariantWalk, ACopyAfterAnAbandonedOneIsWhole) {
  const qxVariant value = DeepMixture(5);
  for (size_t allowed = 0;; ++allowed) {
    const test::AllocationLimit limit(allowed);
    try {
      const qxVariant copy(value);
      break;
    } catch (const std::bad_alloc&) {
    }
  }
  const qxVariant copy(value);
  EXPECT_TRUE(copy == value);
}

}  // namespace
}  // namespace qx
