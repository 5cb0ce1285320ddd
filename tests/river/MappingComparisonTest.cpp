#include "netweft/river/internal/MappingComparison.h"

#include "tests/river/JsonText.h"

#include <gtest/gtest.h>

namespace qx::couch {
namespace {

using test::FromJson;
using test::ToJson;

/// The delta as JSON text, or the reason behind a "!".
string Compare(const string& stored, const string& wanted, bool storedDynamic = true, bool wantedDynamic = true,
               const string& path = "/") {
  qxVariantMapImpl delta;
  string reason;
  const bool result =
      compareMappings(FromJson(stored), FromJson(wanted), delta, reason, storedDynamic, wantedDynamic, path);
  EXPECT_EQ(result, reason.empty()) << reason;
  return result ? ToJson(delta) : "!" + reason;
}

/// A mapping whose top level can grow.
string Static(const string& properties) { return R"({"dynamic":false,"properties":)" + properties + "}"; }

// Attributes.

TEST(MappingComparison, EqualMappingsNeedNothing) {
  const string mapping = R"({"dynamic":false,"_source":{"enabled":true},"properties":{"a":{"type":"text"}}})";
  EXPECT_EQ(Compare(mapping, mapping), "{}");
  EXPECT_EQ(Compare("{}", "{}"), "{}");
}

TEST(MappingComparison, AnAttributeLeftOutAtTheEndIsRemoved) {
  EXPECT_EQ(Compare(R"({"a":1,"b":2})", R"({"a":1})"), "!property attribute '/b' removed");
}

TEST(MappingComparison, AnAttributeLeftOutBeforeTheEndIsRemoved) {
  EXPECT_EQ(Compare(R"({"a":1,"b":2})", R"({"b":2})"), "!property attribute '/a' removed");
}

TEST(MappingComparison, AnAttributeMoreAtTheEndIsAdded) {
  EXPECT_EQ(Compare(R"({"a":1})", R"({"a":1,"b":2})"), "!property attribute '/b' added");
}

TEST(MappingComparison, AnAttributeMoreBeforeTheEndIsAdded) {
  EXPECT_EQ(Compare(R"({"b":2})", R"({"a":1,"b":2})"), "!property attribute '/a' added");
}

TEST(MappingComparison, AnAttributeOfAnotherValueIsChanged) {
  EXPECT_EQ(Compare(R"({"a":1,"dynamic":false})", R"({"a":2,"dynamic":false})"), "!property attribute '/a' changed");
  EXPECT_EQ(Compare(R"({"a":{"b":[1]}})", R"({"a":{"b":[2]}})"), "!property attribute '/a' changed");
}

TEST(MappingComparison, TheFirstDifferenceIsTheReason) {
  EXPECT_EQ(Compare(R"({"a":1,"c":1})", R"({"b":1,"c":2})"), "!property attribute '/a' removed");
}

TEST(MappingComparison, AttributesAreComparedBeforeProperties) {
  EXPECT_EQ(Compare(R"({"properties":{"x":{}},"z":1})", R"({"properties":{},"z":2})"),
            "!property attribute '/z' changed");
}

TEST(MappingComparison, MetaIsNotCompared) {
  EXPECT_EQ(Compare(R"({"_meta":{"a":1},"b":1})", R"({"b":1})"), "{}");
  EXPECT_EQ(Compare(R"({"b":1})", R"({"_meta":{"a":1},"b":1})"), "{}");
  EXPECT_EQ(Compare(R"({"_meta":1})", R"({"_meta":2})"), "{}");
}

// Properties as a whole.

TEST(MappingComparison, PropertiesThatGoAwayAreRefused) {
  EXPECT_EQ(Compare(Static("{}"), R"({"dynamic":false})"), "!properties field removed from /");
}

TEST(MappingComparison, PropertiesThatComeAreTakenWhereNothingIsDynamic) {
  EXPECT_EQ(Compare(R"({"dynamic":false})", Static(R"({"a":{"type":"text"}})")),
            R"({"properties":{"a":{"type":"text"}}})");
}

TEST(MappingComparison, PropertiesThatComeAreRefusedInADynamicBranch) {
  EXPECT_EQ(Compare("{}", R"({"properties":{}})"), "!entry '/properties' added into a dynamic branch");
}

TEST(MappingComparison, EitherDynamicSideRefusesPropertiesThatCome) {
  EXPECT_EQ(Compare("{}", R"({"properties":{}})", false, false), R"({"properties":{}})");
  EXPECT_EQ(Compare("{}", R"({"properties":{}})", true, false), "!entry '/properties' added into a dynamic branch");
  EXPECT_EQ(Compare("{}", R"({"properties":{}})", false, true), "!entry '/properties' added into a dynamic branch");
}

TEST(MappingComparison, PropertiesThatAreNoMapAreRefused) {
  EXPECT_EQ(Compare(Static("5"), Static("{}")), "!bad properties field type /");
  EXPECT_EQ(Compare(Static("{}"), Static("[]")), "!bad properties field type /");
  EXPECT_EQ(Compare(Static("5"), Static("5")), "!bad properties field type /");
}

// One property.

TEST(MappingComparison, APropertyLeftOutIsRemoved) {
  EXPECT_EQ(Compare(Static(R"({"a":{},"b":{}})"), Static(R"({"a":{}})")), "!property '/b' removed");
  EXPECT_EQ(Compare(Static(R"({"a":{},"b":{}})"), Static(R"({"b":{}})")), "!property '/a' removed");
}

TEST(MappingComparison, ANewPropertyIsSentWhereNothingIsDynamic) {
  EXPECT_EQ(Compare(Static(R"({"b":{"type":"long"}})"),
                    Static(R"({"a":{"type":"text"},"b":{"type":"long"},"c":{"type":"date"}})")),
            R"({"properties":{"a":{"type":"text"},"c":{"type":"date"}}})");
}

TEST(MappingComparison, ANewPropertyIsRefusedWhereDynamicIsNotStated) {
  EXPECT_EQ(Compare(R"({"properties":{"a":{}}})", R"({"properties":{"a":{},"b":{}}})"),
            "!property '/b' added into a dynamic branch");
  EXPECT_EQ(Compare(R"({"properties":{"b":{}}})", R"({"properties":{"a":{},"b":{}}})"),
            "!property '/a' added into a dynamic branch");
}

TEST(MappingComparison, EitherDynamicSideRefusesANewProperty) {
  const string stored = R"({"properties":{}})";
  const string wanted = R"({"properties":{"a":{}}})";
  EXPECT_EQ(Compare(stored, wanted, false, false), R"({"properties":{"a":{}}})");
  EXPECT_EQ(Compare(stored, wanted, true, false), "!property '/a' added into a dynamic branch");
  EXPECT_EQ(Compare(stored, wanted, false, true), "!property '/a' added into a dynamic branch");
}

TEST(MappingComparison, APropertyThatIsNoMapIsRefused) {
  EXPECT_EQ(Compare(Static(R"({"a":5})"), Static(R"({"a":{}})")), "!invalid property object '/a'");
  EXPECT_EQ(Compare(Static(R"({"a":{}})"), Static(R"({"a":5})")), "!invalid property object '/a'");
  EXPECT_EQ(Compare(Static(R"({"a":5})"), Static(R"({"a":5})")), "!invalid property object '/a'");
}

TEST(MappingComparison, AChangedPropertyIsRefusedWithItsPath) {
  EXPECT_EQ(Compare(Static(R"({"a":{"type":"text"}})"), Static(R"({"a":{"type":"keyword"}})")),
            "!property attribute '/properties/a/type' changed");
}

// Branches.

TEST(MappingComparison, ANestedPropertyIsSentBelowItsParents) {
  EXPECT_EQ(Compare(Static(R"({"a":{"properties":{"b":{"properties":{}}}}})"),
                    Static(R"({"a":{"properties":{"b":{"properties":{"c":{"type":"text"}}}}}})")),
            R"({"properties":{"a":{"properties":{"b":{"properties":{"c":{"type":"text"}}}}}}})");
}

TEST(MappingComparison, AReasonInsideABranchNamesThePath) {
  EXPECT_EQ(Compare(Static(R"({"a":{"properties":{"b":{"properties":{"c":{}}}}}})"),
                    Static(R"({"a":{"properties":{"b":{"properties":{}}}}})")),
            "!property '/properties/a/properties/b/c' removed");
  EXPECT_EQ(Compare(Static(R"({"a":{"properties":{}}})"), Static(R"({"a":{}})")),
            "!properties field removed from /properties/a/");
}

TEST(MappingComparison, ABranchInheritsThatItMayGrow) {
  EXPECT_EQ(Compare(Static(R"({"a":{"properties":{}}})"), Static(R"({"a":{"properties":{"b":{}}}})")),
            R"({"properties":{"a":{"properties":{"b":{}}}}})");
}

TEST(MappingComparison, ABranchMayBeDynamicBelowOneThatIsNot) {
  EXPECT_EQ(Compare(Static(R"({"a":{"dynamic":true,"properties":{}}})"),
                    Static(R"({"a":{"dynamic":true,"properties":{"b":{}}}})")),
            "!property '/properties/a/b' added into a dynamic branch");
}

TEST(MappingComparison, ABranchMayGrowBelowOneThatIsDynamic) {
  EXPECT_EQ(Compare(R"({"properties":{"a":{"dynamic":false,"properties":{}}}})",
                    R"({"properties":{"a":{"dynamic":false,"properties":{"b":{}}}}})"),
            R"({"properties":{"a":{"properties":{"b":{}}}}})");
}

TEST(MappingComparison, OnlyTheBranchesThatGrowAreSent) {
  EXPECT_EQ(Compare(Static(R"({"a":{"properties":{"x":{}}},"b":{"properties":{}},"c":{"type":"text"}})"),
                    Static(R"({"a":{"properties":{"x":{}}},"b":{"properties":{"y":{}}},"c":{"type":"text"}})")),
            R"({"properties":{"b":{"properties":{"y":{}}}}})");
}

TEST(MappingComparison, DynamicThatIsNoBooleanCountsByItsTruth) {
  for (const string dynamic : {R"("strict")", R"("false")", "0", "null"}) {
    const string begin = R"({"dynamic":)" + dynamic + R"(,"properties":)";
    EXPECT_EQ(Compare(begin + "{}}", begin + R"({"a":{}}})"), R"({"properties":{"a":{}}})") << dynamic;
  }
  for (const string dynamic : {R"("true")", "1", R"("TRUE")"}) {
    const string begin = R"({"dynamic":)" + dynamic + R"(,"properties":)";
    EXPECT_EQ(Compare(begin + "{}}", begin + R"({"a":{}}})"), "!property '/a' added into a dynamic branch") << dynamic;
  }
}

TEST(MappingComparison, ADifferenceDeepInsideIsFound) {
  string stored = "{\"type\":\"text\"}";
  string wanted = "{\"type\":\"long\"}";
  string path = "/";
  for (int i = 0; i < 400; ++i) {
    stored = R"({"properties":{"a":)" + stored + "}}";
    wanted = R"({"properties":{"a":)" + wanted + "}}";
    path += "properties/a/";
  }
  EXPECT_EQ(Compare(stored, wanted), "!property attribute '" + path + "type' changed");
}

}  // namespace
}  // namespace qx::couch
