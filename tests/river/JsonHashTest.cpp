#include "netweft/river/internal/JsonHash.h"

#include "tests/river/JsonText.h"

#include <gtest/gtest.h>

namespace qx::couch {
namespace {

string Hash(const string& text) { return hashJson(test::FromJson(text)); }

// Golden: an index that stands must not be rebuilt because a new release hashes in another way.

TEST(JsonHash, OfTheEmptyMapStays) { EXPECT_EQ(Hash("{}"), "vyGp6PvFo4RvsFtPoIWeCReyIC8="); }

TEST(JsonHash, OfAMappingStays) {
  EXPECT_EQ(Hash(R"({"dynamic":false,"properties":{"title":{"type":"text"},"n":{"type":"long"}}})"),
            "8115akuDCV/p0xkmE+8RzF9uSwA=");
}

TEST(JsonHash, DoesNotDependOnTheOrderOfTheMembers) {
  EXPECT_EQ(Hash(R"({"b":{"d":1,"c":2},"a":3})"), Hash(R"({ "a" : 3, "b" : { "c" : 2, "d" : 1 } })"));
}

TEST(JsonHash, DependsOnEveryValue) {
  EXPECT_NE(Hash(R"({"a":1})"), Hash(R"({"a":2})"));
  EXPECT_NE(Hash(R"({"a":1})"), Hash(R"({"a":"1"})"));
  EXPECT_NE(Hash(R"({"a":[1,2]})"), Hash(R"({"a":[2,1]})"));
}

}  // namespace
}  // namespace qx::couch
