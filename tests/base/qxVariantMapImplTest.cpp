#include "netweft/base/system/qxVariantMapImpl.h"

#include "netweft/base/system/internal/qxVariantAccess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <type_traits>

namespace qx {
namespace {

using testing::ElementsAre;

vector<string> Keys(const qxVariantMapImpl& map) {
  vector<string> keys;
  for (const auto& [key, value] : map) keys.push_back(key);
  return keys;
}

qxVariantMapImpl Nested() {
  qxVariantMapImpl map;
  map["a"].editMap()["b"].editMap()["c"] = 7;
  map["text"] = "x";
  return map;
}

static_assert(std::is_same_v<decltype(std::declval<const qxVariantMapImpl&>().size()), uint64>);

TEST(qxVariantMapImpl, KeysIterateInAscendingOrderByBytes) {
  qxVariantMapImpl map;
  for (const char* key : {"b", "ab", "a", "", "\xC3\xA9", "B", "abc", "a!"}) map[key] = 1;
  EXPECT_THAT(Keys(map), ElementsAre("", "B", "a", "a!", "ab", "abc", "b", "\xC3\xA9"));
}

TEST(qxVariantMapImpl, BracketsInsertAnAbsentValue) {
  qxVariantMapImpl map;
  EXPECT_EQ(map["new"].getType(), qxVariant::VT_Absent);
  EXPECT_TRUE(map.contains("new"));
  map["new"] = 5;
  EXPECT_EQ(map["new"], qxVariant(5));
  EXPECT_EQ(map.size(), 1U);
}

TEST(qxVariantMapImpl, GetValueGivesACopyOrTheDefault) {
  qxVariantMapImpl map;
  map["a"] = 1;
  qxVariant copy = map.getValue("a", 2);
  copy = 9;
  EXPECT_EQ(map["a"], qxVariant(1));
  EXPECT_EQ(map.getValue("b", 2), qxVariant(2));
  EXPECT_FALSE(map.contains("b"));
}

TEST(qxVariantMapImpl, EditValueInsertsTheDefaultWhenTheKeyIsMissing) {
  qxVariantMapImpl map;
  map.editValue("a", "def") = "changed";
  EXPECT_EQ(map["a"], qxVariant("changed"));
  EXPECT_EQ(map.editValue("a", "def"), qxVariant("changed"));
  EXPECT_EQ(map.editValue("b", "def"), qxVariant("def"));
  EXPECT_TRUE(map.contains("b"));
}

TEST(qxVariantMapImpl, EditValueTakesADefaultFromTheMapItself) {
  qxVariantMapImpl map;
  map["a"] = "text";
  EXPECT_EQ(map.editValue("b", map["a"]), qxVariant("text"));
}

TEST(qxVariantMapImpl, GetValuePathWalksNestedMaps) {
  EXPECT_EQ(Nested().getValuePath("a/b/c", 0, '/'), qxVariant(7));
  EXPECT_EQ(Nested().getValuePath("text", 0, '/'), qxVariant("x"));
  EXPECT_EQ(Nested().getValuePath("a.b.c", 0, '.'), qxVariant(7));
}

TEST(qxVariantMapImpl, GetValuePathGivesTheDefaultWhenAStepIsMissing) {
  EXPECT_EQ(Nested().getValuePath("a/x/c", -1, '/'), qxVariant(-1));
  EXPECT_EQ(Nested().getValuePath("a/b/x", -1, '/'), qxVariant(-1));
  EXPECT_EQ(Nested().getValuePath("a/b/c/", -1, '/'), qxVariant(-1));
  EXPECT_EQ(Nested().getValuePath("/a", -1, '/'), qxVariant(-1));
}

TEST(qxVariantMapImpl, GetValuePathGivesTheDefaultWhenAMiddleStepIsNoMap) {
  EXPECT_EQ(Nested().getValuePath("text/b", "def", '/'), qxVariant("def"));
  EXPECT_EQ(Nested().getValuePath("a/b/c/d", "def", '/'), qxVariant("def"));
}

TEST(qxVariantMapImpl, EmptyPathIsOneStepWithTheEmptyName) {
  qxVariantMapImpl map;
  EXPECT_EQ(map.getValuePath("", 3, '/'), qxVariant(3));
  map[""] = 4;
  EXPECT_EQ(map.getValuePath("", 3, '/'), qxVariant(4));
  EXPECT_EQ(map.getValuePath(nullptr, 3, '/'), qxVariant(4));
}

TEST(qxVariantMapImpl, EmptyStepsAreNames) {
  qxVariantMapImpl map;
  map["a"].editMap()[""].editMap()["b"] = 1;
  EXPECT_EQ(map.getValuePath("a//b", 0, '/'), qxVariant(1));
}

TEST(qxVariantMapImpl, FindValuePathGivesThePlaceOrNull) {
  const qxVariantMapImpl map = Nested();
  const qxVariant* found = map.findValuePath("a/b/c", '/');
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found, &map.find("a")->second.getMap().find("b")->second.getMap().find("c")->second);
  EXPECT_EQ(map.findValuePath("a/b/d", '/'), nullptr);
  EXPECT_EQ(map.findValuePath("text/d", '/'), nullptr);
}

TEST(qxVariantMapImpl, EditValuePathMakesEachMissingStepAMap) {
  qxVariantMapImpl map;
  EXPECT_EQ(map.editValuePath("query/bool/should", "def", '/'), qxVariant("def"));
  EXPECT_EQ(map["query"].getType(), qxVariant::VT_Map);
  EXPECT_EQ(map["query"].editMap()["bool"].getType(), qxVariant::VT_Map);
  EXPECT_EQ(map["query"].editMap()["bool"].editMap()["should"], qxVariant("def"));
  EXPECT_EQ(map.size(), 1U);
}

TEST(qxVariantMapImpl, EditValuePathGivesTheStandingValue) {
  qxVariantMapImpl map = Nested();
  map.editValuePath("a/b/c", "def", '/') = 8;
  EXPECT_EQ(map.getValuePath("a/b/c", 0, '/'), qxVariant(8));
}

TEST(qxVariantMapImpl, EditValuePathTurnsAMiddleStepIntoAMap) {
  qxVariantMapImpl map = Nested();
  EXPECT_EQ(map.editValuePath("text/b", 5, '/'), qxVariant(5));
  EXPECT_EQ(map["text"].getType(), qxVariant::VT_Map);
}

TEST(qxVariantMapImpl, EditValuePathTakesADefaultFromAStepThatItReplaces) {
  qxVariantMapImpl map;
  map["text"] = "a text too long for the small buffer of a string";
  const qxVariant& def = map["text"];
  EXPECT_EQ(map.editValuePath("text/b", def, '/'), qxVariant("a text too long for the small buffer of a string"));
}

TEST(qxVariantMapImpl, IntegersAreReadByTag) {
  qxVariantMapImpl map;
  map["integer"] = 5;
  map["text"] = " 6 ";
  map["bool"] = true;
  map["literal"] = qxVariantAccess::MakeNumber("7.9");
  map["absent"];
  EXPECT_EQ(map.getInteger("integer", -1), 5);
  EXPECT_EQ(map.getInteger("text", -1), 6);
  EXPECT_EQ(map.getInteger("bool", -1), 1);
  EXPECT_EQ(map.getInteger("literal", -1), 7);
  EXPECT_EQ(map.getInteger("absent", -1), 0);
  EXPECT_EQ(map.getInteger("missing", -1), -1);
}

TEST(qxVariantMapImpl, StringsAreReadByTag) {
  qxVariantMapImpl map;
  map["text"] = "x";
  map["integer"] = 5;
  map["bool"] = false;
  map["absent"];
  EXPECT_EQ(map.getString("text", "def"), "x");
  EXPECT_EQ(map.getString("integer", "def"), "5");
  EXPECT_EQ(map.getString("bool", "def"), "false");
  EXPECT_EQ(map.getString("absent", "def"), "");
  EXPECT_EQ(map.getString("missing", "def"), "def");
}

TEST(qxVariantMapImpl, FindGivesTheElementOrTheEnd) {
  qxVariantMapImpl map = Nested();
  EXPECT_EQ(map.find("text")->first, "text");
  map.find("text")->second = 5;
  const qxVariantMapImpl& constant = map;
  EXPECT_EQ(constant.find("text")->second, qxVariant(5));
  EXPECT_TRUE(map.find("missing") == map.end());
  EXPECT_TRUE(constant.find("missing") == constant.end());
}

TEST(qxVariantMapImpl, RemoveTellsWhetherAKeyWasErased) {
  qxVariantMapImpl map = Nested();
  EXPECT_TRUE(map.remove("text"));
  EXPECT_FALSE(map.remove("text"));
  EXPECT_THAT(Keys(map), ElementsAre("a"));
}

TEST(qxVariantMapImpl, ClearLeavesNothing) {
  qxVariantMapImpl map = Nested();
  map.clear();
  EXPECT_TRUE(map.empty());
  EXPECT_EQ(map.size(), 0U);
}

TEST(qxVariantMapImpl, SwapExchangesTheContent) {
  qxVariantMapImpl a = Nested();
  qxVariantMapImpl b;
  a.swap(b);
  EXPECT_TRUE(a.empty());
  EXPECT_EQ(b, Nested());
}

TEST(qxVariantMapImpl, CopyIsDeep) {
  qxVariantMapImpl original = Nested();
  const qxVariantMapImpl copy(original);
  qxVariantMapImpl assigned;
  assigned["old"] = 1;
  assigned = original;
  original.editValuePath("a/b/c", 0, '/') = 8;
  EXPECT_EQ(copy, Nested());
  EXPECT_EQ(assigned, Nested());
}

TEST(qxVariantMapImpl, MoveTakesTheContent) {
  qxVariantMapImpl original = Nested();
  qxVariantMapImpl moved(std::move(original));
  EXPECT_TRUE(original.empty());
  qxVariantMapImpl assigned;
  assigned["old"] = 1;
  assigned = std::move(moved);
  EXPECT_TRUE(moved.empty());
  EXPECT_EQ(assigned, Nested());
}

TEST(qxVariantMapImpl, AssignmentToItselfKeepsTheContent) {
  qxVariantMapImpl map = Nested();
  qxVariantMapImpl& same = map;
  map = same;
  EXPECT_EQ(map, Nested());
  map = std::move(same);
  EXPECT_EQ(map, Nested());
}

TEST(qxVariantMapImpl, PieceOfItselfCanBeAssignedAndMovedIn) {
  qxVariantMapImpl map;
  map["a"].editMap()["b"] = Nested();
  map = map["a"].getMap();
  EXPECT_EQ(map.getValue("b", 0), qxVariant(Nested()));
  map = std::move(map["b"].editMap());
  EXPECT_EQ(map, Nested());
}

}  // namespace
}  // namespace qx
