#include "netweft/base/system/internal/qxVariantAccess.h"

#include <gtest/gtest.h>

namespace qx {
namespace {

TEST(qxVariantAccess, LiteralKeepsItsText) {
  qxVariant value("old");
  qxVariantAccess::SetNumber(value, "1.500");
  EXPECT_EQ(value.getType(), qxVariant::VT_Number);
  EXPECT_EQ(qxVariantAccess::GetNumber(value), "1.500");
  EXPECT_EQ(qxVariantAccess::GetNumber(qxVariant(value)), "1.500");
}

TEST(qxVariantAccess, NullReplacesAnOwnedValue) {
  qxVariant value("a text too long for the small buffer of a string");
  qxVariantAccess::SetNull(value);
  EXPECT_EQ(value.getType(), qxVariant::VT_Null);
}

TEST(qxVariantAccess, HeldValuesAreRead) {
  EXPECT_EQ(qxVariantAccess::GetInteger(qxVariant(-5)), -5);
  EXPECT_EQ(qxVariantAccess::GetDouble(qxVariant(2.5)), 2.5);
  EXPECT_TRUE(qxVariantAccess::GetBool(qxVariant(true)));
}

TEST(qxVariantAccess, ContainersMoveInWithoutACopy) {
  qxVariantMapImpl map;
  const qxVariant* member = &(map["a"] = 1);
  qxVariant value;
  qxVariantAccess::SetMap(value, std::move(map));
  EXPECT_EQ(&value.getMap().find("a")->second, member);

  qxVariantListImpl list;
  const qxVariant* element = &list.push_back(1);
  qxVariantAccess::SetList(value, std::move(list));
  EXPECT_EQ(&value.getList()[0], element);
}

TEST(qxVariantAccess, ContainersTakeAPieceOfThemselves) {
  qxVariant value;
  value.editMap()["a"].editMap()["b"] = 1;
  qxVariantAccess::SetMap(value, std::move(value.editMap()["a"].editMap()));
  EXPECT_EQ(value.getMap().getInteger("b", 0), 1);
}

TEST(qxVariantAccess, TreeAndElementsAreTheContainersOwn) {
  qxVariantMapImpl map;
  qxVariantAccess::EditTree(map).emplace("a", 1);
  EXPECT_EQ(map.getInteger("a", 0), 1);
  EXPECT_EQ(qxVariantAccess::GetTree(map).size(), 1U);
  qxVariantListImpl list;
  qxVariantAccess::EditElements(list).reserve(10);
  list.push_back(1);
  EXPECT_EQ(qxVariantAccess::GetElements(list).capacity(), 10U);
}

}  // namespace
}  // namespace qx
