#include "netweft/base/system/qxVariantListImpl.h"

#include <gtest/gtest.h>

#include <iterator>

namespace qx {
namespace {

qxVariantListImpl Sample() {
  qxVariantListImpl list;
  list.push_back(1);
  list.push_back("a text too long for the small buffer of a string");
  list.push_back(qxVariant()).editList().push_back(true);
  return list;
}

TEST(qxVariantListImpl, PushBackGivesTheNewElement) {
  qxVariantListImpl list;
  qxVariant& element = list.push_back(1);
  EXPECT_EQ(&element, &list.back());
  element = 2;
  EXPECT_EQ(list[0], qxVariant(2));
}

TEST(qxVariantListImpl, PushBackTakesAnElementOfTheListItself) {
  qxVariantListImpl list;
  list.push_back("a text too long for the small buffer of a string");
  for (int i = 0; i < 20; ++i) list.push_back(list[0]);
  for (const qxVariant& element : list) EXPECT_EQ(element, list[0]);
  EXPECT_EQ(list[0].getString().size(), 48U);
}

TEST(qxVariantListImpl, ElementsAreContiguousAndInOrder) {
  const qxVariantListImpl list = Sample();
  EXPECT_EQ(&list[1], &list[0] + 1);
  EXPECT_EQ(list[0], qxVariant(1));
  EXPECT_EQ(std::distance(list.begin(), list.end()), 3);
  EXPECT_EQ(&*list.begin(), &list[0]);
}

TEST(qxVariantListImpl, MutableIterationChangesTheElements) {
  qxVariantListImpl list = Sample();
  for (qxVariant& element : list) element = 5;
  EXPECT_EQ(list[2], qxVariant(5));
  EXPECT_EQ(list.back(), qxVariant(5));
}

TEST(qxVariantListImpl, SizeAndEmptyAndClear) {
  qxVariantListImpl list = Sample();
  EXPECT_EQ(list.size(), 3U);
  EXPECT_FALSE(list.empty());
  list.clear();
  EXPECT_EQ(list.size(), 0U);
  EXPECT_TRUE(list.empty());
}

TEST(qxVariantListImpl, SwapExchangesTheContent) {
  qxVariantListImpl a = Sample();
  qxVariantListImpl b;
  a.swap(b);
  EXPECT_TRUE(a.empty());
  EXPECT_EQ(b, Sample());
}

TEST(qxVariantListImpl, CopyIsDeep) {
  qxVariantListImpl original = Sample();
  const qxVariantListImpl copy(original);
  qxVariantListImpl assigned;
  assigned.push_back(9);
  assigned = original;
  original.back().editList().clear();
  EXPECT_EQ(copy, Sample());
  EXPECT_EQ(assigned, Sample());
  EXPECT_FALSE(original == copy);
}

TEST(qxVariantListImpl, MoveTakesTheContent) {
  qxVariantListImpl original = Sample();
  qxVariantListImpl moved(std::move(original));
  EXPECT_TRUE(original.empty());
  qxVariantListImpl assigned;
  assigned.push_back(9);
  assigned = std::move(moved);
  EXPECT_TRUE(moved.empty());
  EXPECT_EQ(assigned, Sample());
}

TEST(qxVariantListImpl, AssignmentToItselfKeepsTheContent) {
  qxVariantListImpl list = Sample();
  qxVariantListImpl& same = list;
  list = same;
  EXPECT_EQ(list, Sample());
  list = std::move(same);
  EXPECT_EQ(list, Sample());
}

TEST(qxVariantListImpl, PieceOfItselfCanBeAssignedAndMovedIn) {
  qxVariantListImpl list;
  list.push_back(qxVariant()).editList().push_back(Sample());
  list = list[0].getList();
  EXPECT_EQ(list.back(), qxVariant(Sample()));
  list = std::move(list.back().editList());
  EXPECT_EQ(list, Sample());
}

}  // namespace
}  // namespace qx
