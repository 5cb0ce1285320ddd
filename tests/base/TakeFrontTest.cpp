#include "netweft/base/system/internal/TakeFront.h"

#include <gmock/gmock.h>

namespace qx::impl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

TEST(TakeFrontTest, TheLowestKeysMoveWithTheirValues) {
  map<string, int> from = {{"c", 3}, {"a", 1}, {"b", 2}};
  map<string, int> to;
  TakeFront(from, to, 2);
  EXPECT_THAT(to, ElementsAre(Pair("a", 1), Pair("b", 2)));
  EXPECT_THAT(from, ElementsAre(Pair("c", 3)));
}

TEST(TakeFrontTest, AskingForMoreThanThereIsTakesAll) {
  std::set<string> from = {"a", "b"};
  std::set<string> to;
  TakeFront(from, to, 9);
  EXPECT_THAT(to, ElementsAre("a", "b"));
  EXPECT_THAT(from, IsEmpty());
}

TEST(TakeFrontTest, ALimitOfNoneTakesNone) {
  std::set<string> from = {"a"};
  std::set<string> to;
  TakeFront(from, to, 0);
  EXPECT_THAT(to, IsEmpty());
}

TEST(TakeFrontTest, ElementsKeepTheirPlaceInMemory) {
  std::set<string> from = {"a"};
  const string* const address = &*from.begin();
  std::set<string> to;
  TakeFront(from, to, 1);
  EXPECT_EQ(&*to.begin(), address);
}

}  // namespace
}  // namespace qx::impl
