#include "netweft/base/system/EnumHelperInterface.h"

#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <type_traits>

namespace qx {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

EnumHelperInterface::NameTable Table(const string& declaration) {
  EnumHelperInterface::NameTable table;
  EnumHelperInterface::__GetEnumToStringMap(table, declaration);
  return table;
}

/// Built while the program is loaded, as the helpers of the library build theirs.
const EnumHelperInterface::NameTable sTable = Table("PP_Default = 0 , PP_NoProxy , PP_AutomaticProxy , PP_ManualProxy");
const string sTypeName = "ProxyPolicy";

class Helper final : public EnumHelperInterface {
 public:
  explicit Helper(int value) : EnumHelperInterface(value, sTable, sTypeName) {}
  explicit Helper(const string& text) : EnumHelperInterface(text, sTable, sTypeName) {}
};

TEST(EnumHelperInterface, NamesWithoutAValueTakeThePreviousOnePlusOne) {
  EXPECT_THAT(sTable, ElementsAre(Pair(0, ElementsAre("PP_Default")), Pair(1, ElementsAre("PP_NoProxy")),
                                  Pair(2, ElementsAre("PP_AutomaticProxy")), Pair(3, ElementsAre("PP_ManualProxy"))));
}

TEST(EnumHelperInterface, FirstNameWithoutAValueIsZero) {
  EXPECT_THAT(Table("A,B"), ElementsAre(Pair(0, ElementsAre("A")), Pair(1, ElementsAre("B"))));
}

TEST(EnumHelperInterface, ValueMayStandAnywhereAndBeNegative) {
  EXPECT_THAT(Table("A=-2,B,C=10,D"), ElementsAre(Pair(-2, ElementsAre("A")), Pair(-1, ElementsAre("B")),
                                                  Pair(10, ElementsAre("C")), Pair(11, ElementsAre("D"))));
}

TEST(EnumHelperInterface, WhiteSpaceAndEmptyPiecesAreIgnored) {
  EXPECT_THAT(Table("\n\t A \t=\n 4 ,, B ,\n"), ElementsAre(Pair(4, ElementsAre("A")), Pair(5, ElementsAre("B"))));
  EXPECT_THAT(Table(""), IsEmpty());
}

TEST(EnumHelperInterface, NamesOfOneValueStandInTheirOrder) {
  EXPECT_THAT(Table("B = 1, A = 1, C"), ElementsAre(Pair(1, ElementsAre("B", "A")), Pair(2, ElementsAre("C"))));
}

TEST(EnumHelperInterface, ParsingAddsToTheTable) {
  EnumHelperInterface::NameTable table = Table("A");
  EnumHelperInterface::__GetEnumToStringMap(table, "B = 5");
  EXPECT_THAT(table, ElementsAre(Pair(0, ElementsAre("A")), Pair(5, ElementsAre("B"))));
}

TEST(EnumHelperInterface, LargestValueIsTheLast) {
  EXPECT_THAT(Table("A = 2147483647"), ElementsAre(Pair(2147483647, ElementsAre("A"))));
}

TEST(EnumHelperInterface, NumberAndNameBehaveAlike) {
  const Helper number(3);
  const Helper name("PP_ManualProxy");
  for (const Helper& helper : {number, name}) {
    EXPECT_EQ(helper.toInt(), 3);
    EXPECT_EQ(helper.toString(), "PP_ManualProxy");
    EXPECT_TRUE(helper.isKnown());
    EXPECT_EQ(helper.getTypeName(), "ProxyPolicy");
  }
}

TEST(EnumHelperInterface, WhiteSpaceAroundANameIsIgnored) { EXPECT_EQ(Helper(" PP_NoProxy\n").toInt(), 1); }

TEST(EnumHelperInterface, UnknownNumberIsItsOwnText) {
  const test::LogCapture log;
  const Helper helper(1234567);
  EXPECT_EQ(helper.toString(), "1234567");
  EXPECT_FALSE(helper.isKnown());
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST(EnumHelperInterface, UnknownNameIsZeroWithAWarning) {
  const test::LogCapture log;
  for (const char* text : {"pp_noproxy", "", "1"}) {
    const Helper helper{string(text)};
    EXPECT_EQ(helper.toInt(), 0);
    EXPECT_FALSE(helper.isKnown());
  }
  EXPECT_THAT(log.getLines(), ElementsAre(test::Warning("ProxyPolicy has no value named \"pp_noproxy\""),
                                          test::Warning("ProxyPolicy has no value named \"\""),
                                          test::Warning("ProxyPolicy has no value named \"1\"")));
}

TEST(EnumHelperInterface, OnlySubclassesConstructItAndAnyoneDestroysIt) {
  EXPECT_FALSE(
      (std::is_constructible_v<EnumHelperInterface, int, const EnumHelperInterface::NameTable&, const string&>));
  EXPECT_TRUE(std::is_destructible_v<EnumHelperInterface>);
}

}  // namespace
}  // namespace qx
