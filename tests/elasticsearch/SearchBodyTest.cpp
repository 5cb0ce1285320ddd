#include "netweft/elasticsearch/internal/SearchBody.h"

#include <gtest/gtest.h>

namespace qx::elasticsearch {
namespace {

string Build(const map<string, string>& idToType, const qxVariant& sourceFields = {}) {
  const bytes body = BuildSearchBody(idToType, sourceFields);
  return {body.begin(), body.end()};
}

TEST(SearchBodyTest, IdsOfOneTypeMakeOneGroup) {
  EXPECT_EQ(Build({{"b", "t"}, {"a", "t"}}), R"({"query":{"bool":{"should":[{"bool":{"filter":{"term":{"type":"t"}},)"
                                             R"("must":{"terms":{"id":["a","b"]}}}}]}},"size":2})");
}

TEST(SearchBodyTest, AnEmptyTypeMakesAGroupWithoutAFilter) {
  EXPECT_EQ(Build({{"a", ""}}), R"({"query":{"bool":{"should":[{"bool":{"must":{"terms":{"id":["a"]}}}}]}},"size":1})");
}

TEST(SearchBodyTest, GroupsStandInTheOrderOfTheirTypes) {
  EXPECT_EQ(Build({{"1", "z"}, {"2", ""}, {"3", "y"}, {"4", "z"}}),
            R"({"query":{"bool":{"should":[{"bool":{"must":{"terms":{"id":["2"]}}}},)"
            R"({"bool":{"filter":{"term":{"type":"y"}},"must":{"terms":{"id":["3"]}}}},)"
            R"({"bool":{"filter":{"term":{"type":"z"}},"must":{"terms":{"id":["1","4"]}}}}]}},"size":4})");
}

TEST(SearchBodyTest, SourceFieldsOfAnyKindAreHandedOn) {
  const string rest = R"("query":{"bool":{"should":[{"bool":{"must":{"terms":{"id":["a"]}}}}]}},"size":1})";
  EXPECT_EQ(Build({{"a", ""}}, false), R"({"_source":false,)" + rest);
  EXPECT_EQ(Build({{"a", ""}}, "n*"), R"({"_source":"n*",)" + rest);
  qxVariantListImpl fields;
  fields.push_back("x");
  EXPECT_EQ(Build({{"a", ""}}, fields), R"({"_source":["x"],)" + rest);
}

TEST(SearchBodyTest, NamesTravelEscaped) {
  EXPECT_EQ(Build({{"a\"/", "t/\\"}}), R"({"query":{"bool":{"should":[{"bool":{"filter":{"term":{"type":"t/\\"}},)"
                                       R"("must":{"terms":{"id":["a\"/"]}}}}]}},"size":1})");
}

TEST(SearchBodyTest, ASizeIsWrittenWithoutGrouping) {
  map<string, string> many;
  for (int i = 0; i < 12345; ++i) many[std::to_string(i)] = "";
  EXPECT_NE(Build(many).find("\"size\":12345}"), string::npos);
}

}  // namespace
}  // namespace qx::elasticsearch
