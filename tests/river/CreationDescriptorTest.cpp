#include "netweft/river/internal/CreationDescriptor.h"

#include "tests/river/JsonText.h"

#include <gtest/gtest.h>

namespace qx::couch {
namespace {

string Build(const string& indexName, const string& reply) {
  return buildCreationDescriptor(indexName, test::FromJson(reply));
}

TEST(CreationDescriptor, JoinsDateAndUuid) {
  EXPECT_EQ(Build("i", R"({"i":{"settings":{"index":{"creation_date":"1700000000000","uuid":"mKx-_A","x":"y"}}}})"),
            "1700000000000_mKx-_A");
}

TEST(CreationDescriptor, TakesADateThatIsANumber) {
  EXPECT_EQ(Build("i", R"({"i":{"settings":{"index":{"creation_date":1700000000000,"uuid":"u"}}}})"),
            "1700000000000_u");
}

TEST(CreationDescriptor, LooksOnlyBelowTheNameOfTheIndex) {
  EXPECT_EQ(Build("alias", R"({"i":{"settings":{"index":{"creation_date":"1","uuid":"u"}}}})"), "");
}

TEST(CreationDescriptor, AnIndexNameMayHoldADot) {
  EXPECT_EQ(Build("a.b", R"({"a.b":{"settings":{"index":{"creation_date":"1","uuid":"u"}}}})"), "1_u");
}

TEST(CreationDescriptor, IsEmptyWhenEitherValueIs) {
  for (const string index : {R"({"creation_date":"1","uuid":""})", R"({"creation_date":"","uuid":"u"})",
                             R"({"creation_date":"1"})", R"({"uuid":"u"})", "{}", "5"}) {
    EXPECT_EQ(Build("i", R"({"i":{"settings":{"index":)" + index + "}}}"), "") << index;
  }
}

TEST(CreationDescriptor, IsEmptyForAnyOtherReply) {
  for (const string reply : {"{}", R"({"i":5})", R"({"i":{"settings":{}}})", R"({"i":{"settings":[1]}})"}) {
    EXPECT_EQ(Build("i", reply), "") << reply;
  }
}

}  // namespace
}  // namespace qx::couch
