#include "netweft/river/IndexDefinition.h"

#include "tests/river/LayoutOrder.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace qx::couch {
namespace {

static_assert(std::is_copy_constructible_v<IndexDefinition> && std::is_copy_assignable_v<IndexDefinition>);
static_assert(std::is_nothrow_move_constructible_v<IndexDefinition>);

TEST(IndexDefinition, IsEmptyFromTheStart) {
  const IndexDefinition d;
  EXPECT_EQ(d.dbName + d.indexName + d.applicationVersion + d.mappingRevision, "");
  EXPECT_TRUE(d.mapping.empty());
  EXPECT_TRUE(d.settings.empty());
}

TEST(IndexDefinition, FieldsKeepTheirOrder) {
  const IndexDefinition d;
  EXPECT_TRUE(
      test::AreInOrder({&d.dbName, &d.indexName, &d.mapping, &d.settings, &d.applicationVersion, &d.mappingRevision}));
}

TEST(IndexDefinition, ACopyStandsAlone) {
  IndexDefinition definition;
  definition.mapping["a"].editMap()["b"] = 1;
  IndexDefinition copy;
  copy = definition;
  definition.mapping["a"].editMap()["b"] = 2;
  EXPECT_EQ(copy.mapping["a"].editMap()["b"].toInteger(), 1);
}

}  // namespace
}  // namespace qx::couch
