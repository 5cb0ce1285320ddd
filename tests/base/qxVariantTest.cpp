#include "netweft/base/system/qxVariant.h"

#include "netweft/base/system/internal/qxVariantAccess.h"
#include "tests/support/AllocationHooks.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <type_traits>

namespace qx {
namespace {

constexpr int64 sMax = std::numeric_limits<int64>::max();
constexpr int64 sMin = std::numeric_limits<int64>::min();

static_assert(sizeof(qxVariant) == 16);
static_assert(std::is_nothrow_move_constructible_v<qxVariant>);
static_assert(std::is_nothrow_move_assignable_v<qxVariant>);

qxVariant Number(const char* literal) { return qxVariantAccess::MakeNumber(literal); }

qxVariant OfType(qxVariant::Type type) {
  qxVariant value;
  value.setType(type);
  return value;
}

qxVariant Sample() {
  qxVariant value;
  value.editMap()["text"] = "a text too long for the small buffer of a string";
  value.editMap()["number"] = 7;
  qxVariantListImpl& list = value.editMap()["list"].editList();
  list.push_back(true);
  list.push_back(Number("1.5"));
  list.push_back(OfType(qxVariant::VT_Null));
  list.push_back(2.5);
  list.push_back(qxVariant()).editMap()["deep"] = "x";
  value.editMap()["absent"];
  return value;
}

TEST(qxVariant, TagsHaveTheirFixedNumbers) {
  EXPECT_EQ(int{qxVariant::VT_Absent}, 0);
  EXPECT_EQ(int{qxVariant::VT_Integer}, 1);
  EXPECT_EQ(int{qxVariant::VT_String}, 3);
  EXPECT_EQ(int{qxVariant::VT_Bool}, 4);
  EXPECT_EQ(int{qxVariant::VT_Map}, 10);
  EXPECT_EQ(int{qxVariant::VT_List}, 11);
}

TEST(qxVariant, EachKindOfValueGetsItsTag) {
  EXPECT_EQ(qxVariant().getType(), 0);
  EXPECT_EQ(qxVariant(5).getType(), 1);
  EXPECT_EQ(qxVariant(5U).getType(), 1);
  EXPECT_EQ(qxVariant(5LL).getType(), 1);
  EXPECT_EQ(qxVariant("a").getType(), 3);
  EXPECT_EQ(qxVariant(string("a")).getType(), 3);
  EXPECT_EQ(qxVariant(true).getType(), 4);
  EXPECT_EQ(qxVariant(qxVariantMapImpl()).getType(), 10);
  EXPECT_EQ(qxVariant(qxVariantListImpl()).getType(), 11);
  EXPECT_EQ(qxVariant(1.0).getType(), qxVariant::VT_Double);
}

TEST(qxVariant, ContainersMoveInWithTheirContent) {
  qxVariantMapImpl map;
  map["a"] = 1;
  const qxVariant* inside = &map["a"];
  const qxVariant value(std::move(map));
  EXPECT_EQ(&value.getMap().find("a")->second, inside);
}

TEST(qxVariant, AssignedTextBecomesAString) {
  qxVariant value(5);
  value = "text";
  EXPECT_EQ(value.getType(), qxVariant::VT_String);
  EXPECT_EQ(value.getString(), "text");
}

TEST(qxVariant, AssignedZeroIsAnIntegerAndNoNullText) {
  qxVariant value("text");
  value = 0;
  EXPECT_EQ(value.getType(), qxVariant::VT_Integer);
  value = false;
  EXPECT_EQ(value.getType(), qxVariant::VT_Bool);
  value = 0.0;
  EXPECT_EQ(value.getType(), qxVariant::VT_Double);
}

TEST(qxVariant, NullTextIsTheEmptyString) {
  const char* none = nullptr;
  EXPECT_EQ(qxVariant(none), qxVariant(""));
  qxVariant value(5);
  value = none;
  EXPECT_EQ(value, qxVariant(""));
}

TEST(qxVariant, TextOfItsOwnCanBeAssigned) {
  qxVariant value("a text too long for the small buffer of a string");
  value = value.getString().c_str();
  EXPECT_EQ(value.getString(), "a text too long for the small buffer of a string");
}

TEST(qxVariant, CopyIsDeep) {
  qxVariant original = Sample();
  const qxVariant copy(original);
  original.editMap()["list"].editList().back().editMap()["deep"] = "changed";
  EXPECT_EQ(copy, Sample());
  EXPECT_NE(copy, original);
}

TEST(qxVariant, AssignmentIsDeep) {
  qxVariant original = Sample();
  qxVariant copy("old");
  EXPECT_EQ(&(copy = original), &copy);
  original.editMap()["text"] = "changed";
  EXPECT_EQ(copy, Sample());
}

TEST(qxVariant, MovedFromIsAbsent) {
  qxVariant source = Sample();
  const qxVariant target(std::move(source));
  EXPECT_EQ(source.getType(), qxVariant::VT_Absent);
  EXPECT_EQ(target, Sample());
  qxVariant second = Sample();
  qxVariant third(1);
  third = std::move(second);
  EXPECT_EQ(second.getType(), qxVariant::VT_Absent);
  EXPECT_EQ(third, Sample());
}

TEST(qxVariant, AssignmentToItselfKeepsTheValue) {
  qxVariant value = Sample();
  qxVariant& same = value;
  value = same;
  EXPECT_EQ(value, Sample());
  value = std::move(same);
  EXPECT_EQ(value, Sample());
}

TEST(qxVariant, PieceOfItselfCanBeAssigned) {
  qxVariant value;
  value.editMap()["a"] = Sample();
  value = value.editMap()["a"];
  EXPECT_EQ(value, Sample());
}

TEST(qxVariant, PieceOfItselfCanBeMovedIn) {
  qxVariant value;
  value.editList().push_back(Sample());
  value = std::move(value.editList().back());
  EXPECT_EQ(value, Sample());
}

TEST(qxVariant, WholeCanBeAssignedToItsPiece) {
  qxVariant value;
  value.editMap()["a"] = 1;
  value.editMap()["b"] = value;
  EXPECT_EQ(value.getMap().getValuePath("b/a", qxVariant(), '/'), qxVariant(1));
}

TEST(qxVariant, ReferenceIntoAMapStaysValidAcrossChangesOfKind) {
  qxVariantMapImpl map;
  qxVariant& value = map["a"];
  for (auto type : {qxVariant::VT_Integer, qxVariant::VT_String, qxVariant::VT_Bool, qxVariant::VT_Map,
                    qxVariant::VT_List, qxVariant::VT_Null, qxVariant::VT_Double, qxVariant::VT_Absent}) {
    value.setType(type);
    EXPECT_EQ(map.find("a")->second.getType(), type);
    EXPECT_EQ(&map["a"], &value);
  }
}

TEST(qxVariant, SettingAKindGivesItsEmptyValue) {
  EXPECT_EQ(OfType(qxVariant::VT_Integer), qxVariant(0));
  EXPECT_EQ(OfType(qxVariant::VT_Double), qxVariant(0.0));
  EXPECT_EQ(OfType(qxVariant::VT_String), qxVariant(""));
  EXPECT_EQ(OfType(qxVariant::VT_Bool), qxVariant(false));
  EXPECT_EQ(OfType(qxVariant::VT_Map), qxVariant(qxVariantMapImpl()));
  EXPECT_EQ(OfType(qxVariant::VT_List), qxVariant(qxVariantListImpl()));
}

TEST(qxVariant, SettingTheSameKindDropsTheOldValue) {
  qxVariant value = Sample();
  value.setType(qxVariant::VT_Map);
  EXPECT_TRUE(value.getMap().empty());
}

TEST(qxVariant, LiteralCannotBeMadeBySettingTheKind) {
  qxVariant value("text");
  value.setType(qxVariant::VT_Number);
  EXPECT_EQ(value.getType(), qxVariant::VT_Integer);
  EXPECT_EQ(value.toInteger(), 0);
}

TEST(qxVariant, HeldValueOfAnotherTagIsAConstantEmptyOne) {
  const qxVariant number(5);
  EXPECT_EQ(number.getString(), "");
  EXPECT_TRUE(number.getMap().empty());
  EXPECT_TRUE(number.getList().empty());
  EXPECT_EQ(&number.getString(), &qxVariant().getString());
  EXPECT_EQ(Number("1.5").getString(), "");
}

TEST(qxVariant, MutableAccessKeepsAMatchingValue) {
  qxVariant text("abc");
  text.editString() += "d";
  EXPECT_EQ(text.getString(), "abcd");
  qxVariant sample = Sample();
  sample.editMap()["number"].toInteger();
  EXPECT_EQ(sample, Sample());
}

TEST(qxVariant, MutableAccessTurnsAnotherKindIntoAnEmptyOne) {
  qxVariant value(5);
  EXPECT_EQ(value.editString(), "");
  EXPECT_EQ(value.getType(), qxVariant::VT_String);
  EXPECT_TRUE(value.editMap().empty());
  EXPECT_EQ(value.getType(), qxVariant::VT_Map);
  EXPECT_TRUE(value.editList().empty());
  EXPECT_EQ(value.getType(), qxVariant::VT_List);
  qxVariant literal = Number("1.5");
  EXPECT_EQ(literal.editString(), "");
}

TEST(qxVariant, ContainersByValueAreCopies) {
  qxVariant value = Sample();
  qxVariantMapImpl copy = value.toMap();
  copy.clear();
  EXPECT_EQ(value, Sample());
  qxVariantListImpl list = value.editMap()["list"].toList();
  EXPECT_EQ(list.size(), 5U);
  EXPECT_TRUE(value.toList().empty());
  EXPECT_TRUE(qxVariant(1).toMap().empty());
}

TEST(qxVariant, ToStringOfPlainValues) {
  EXPECT_EQ(qxVariant().toString(), "");
  EXPECT_EQ(qxVariant(sMin).toString(), "-9223372036854775808");
  EXPECT_EQ(qxVariant(1234567).toString(), "1234567");
  EXPECT_EQ(qxVariant("t\"x").toString(), "t\"x");
  EXPECT_EQ(qxVariant(true).toString(), "true");
  EXPECT_EQ(qxVariant(false).toString(), "false");
  EXPECT_EQ(OfType(qxVariant::VT_Null).toString(), "null");
  EXPECT_EQ(qxVariant(0.1).toString(), "0.1");
  EXPECT_EQ(qxVariant(1234567.5).toString(), "1234567.5");
  EXPECT_EQ(Number("1.50E+2").toString(), "1.50E+2");
}

TEST(qxVariant, ToStringOfContainersIsTheirJson) {
  qxVariantMapImpl map;
  map["a"] = 1;
  EXPECT_EQ(qxVariant(map).toString(), "{\"a\":1}");
  EXPECT_EQ(qxVariant(qxVariantMapImpl()).toString(), "{}");
  qxVariantListImpl list;
  list.push_back(1);
  list.push_back("x");
  EXPECT_EQ(qxVariant(list).toString(), "[1,\"x\"]");
}

TEST(qxVariant, ToIntegerOfPlainValues) {
  EXPECT_EQ(qxVariant(sMin).toInteger(), sMin);
  EXPECT_EQ(qxVariant(true).toInteger(), 1);
  EXPECT_EQ(qxVariant(false).toInteger(), 0);
  EXPECT_EQ(qxVariant().toInteger(), 0);
  EXPECT_EQ(OfType(qxVariant::VT_Null).toInteger(), 0);
  EXPECT_EQ(Sample().toInteger(), 0);
  EXPECT_EQ(qxVariant(qxVariantListImpl()).toInteger(), 0);
}

TEST(qxVariant, ToIntegerTruncatesFractionsTowardZero) {
  EXPECT_EQ(qxVariant(2.9).toInteger(), 2);
  EXPECT_EQ(qxVariant(-2.9).toInteger(), -2);
  EXPECT_EQ(Number("2.9").toInteger(), 2);
  EXPECT_EQ(Number("-2.9").toInteger(), -2);
}

TEST(qxVariant, ToIntegerClampsToTheRange) {
  EXPECT_EQ(qxVariant(1e300).toInteger(), sMax);
  EXPECT_EQ(qxVariant(-1e300).toInteger(), sMin);
  EXPECT_EQ(qxVariant(std::numeric_limits<double>::infinity()).toInteger(), sMax);
  EXPECT_EQ(Number("1e400").toInteger(), sMax);
  EXPECT_EQ(Number("-1e400").toInteger(), sMin);
  EXPECT_EQ(Number("9223372036854775808").toInteger(), sMax);
}

TEST(qxVariant, ToIntegerOfNotANumberIsZero) {
  EXPECT_EQ(qxVariant(std::numeric_limits<double>::quiet_NaN()).toInteger(), 0);
}

TEST(qxVariant, ToIntegerTakesATextOnlyAsAWhole) {
  EXPECT_EQ(qxVariant("42").toInteger(), 42);
  EXPECT_EQ(qxVariant(" \t42\r\n").toInteger(), 42);
  EXPECT_EQ(qxVariant("-42").toInteger(), -42);
  EXPECT_EQ(qxVariant("+42").toInteger(), 42);
  EXPECT_EQ(qxVariant("9223372036854775807").toInteger(), sMax);
  for (const char* text : {"", " ", "42x", "4 2", "0x10", "4.0", "1e3", "+", "-", "+-4", "9223372036854775808"}) {
    EXPECT_EQ(qxVariant(text).toInteger(), 0) << text;
  }
  EXPECT_EQ(qxVariant(string("42\0", 3)).toInteger(), 0);
}

TEST(qxVariant, ToBoolOfEachKind) {
  EXPECT_TRUE(qxVariant(-1).toBool());
  EXPECT_FALSE(qxVariant(0).toBool());
  EXPECT_TRUE(qxVariant(true).toBool());
  EXPECT_FALSE(qxVariant(false).toBool());
  EXPECT_TRUE(qxVariant(0.5).toBool());
  EXPECT_FALSE(qxVariant(0.0).toBool());
  EXPECT_TRUE(Number("0.5").toBool());
  EXPECT_FALSE(Number("0.0e5").toBool());
  EXPECT_FALSE(qxVariant().toBool());
  EXPECT_FALSE(OfType(qxVariant::VT_Null).toBool());
  EXPECT_FALSE(Sample().toBool());
  EXPECT_FALSE(Sample().editMap()["list"].toBool());
}

TEST(qxVariant, ToBoolOfTexts) {
  for (const char* text : {"true", "TRUE", "TrUe", "1", " -7 "}) EXPECT_TRUE(qxVariant(text).toBool()) << text;
  for (const char* text : {"", "false", "yes", "0", "truee", "1.5"}) EXPECT_FALSE(qxVariant(text).toBool()) << text;
}

TEST(qxVariant, ValuesOfDifferentKindsDiffer) {
  const qxVariant values[] = {qxVariant(),
                              qxVariant(1),
                              qxVariant("1"),
                              qxVariant(true),
                              Sample(),
                              qxVariant(qxVariantListImpl()),
                              OfType(qxVariant::VT_Null)};
  for (const qxVariant& a : values) {
    for (const qxVariant& b : values) EXPECT_EQ(a == b, &a == &b) << a.getType() << " " << b.getType();
  }
}

TEST(qxVariant, SameKindsCompareByValue) {
  EXPECT_NE(qxVariant(1), qxVariant(2));
  EXPECT_NE(qxVariant("a"), qxVariant("b"));
  EXPECT_NE(qxVariant(string("a\0b", 3)), qxVariant(string("a\0c", 3)));
  EXPECT_NE(qxVariant(true), qxVariant(false));
  EXPECT_EQ(qxVariant(), qxVariant());
  EXPECT_EQ(OfType(qxVariant::VT_Null), OfType(qxVariant::VT_Null));
}

TEST(qxVariant, MapsDifferByKeyByValueAndBySize) {
  qxVariant other = Sample();
  EXPECT_EQ(other, Sample());
  other.editMap()["number"] = 8;
  EXPECT_NE(other, Sample());
  other = Sample();
  other.editMap()["extra"];
  EXPECT_NE(other, Sample());
  other = Sample();
  other.editMap().remove("absent");
  other.editMap()["absenu"];
  EXPECT_NE(other, Sample());
}

TEST(qxVariant, ListsDifferByOrderAndBySize) {
  qxVariant a;
  a.editList().push_back(1);
  a.editList().push_back(2);
  qxVariant b;
  b.editList().push_back(2);
  b.editList().push_back(1);
  EXPECT_NE(a, b);
  b.editList().push_back(1);
  EXPECT_NE(a, b);
}

TEST(qxVariant, DifferenceDeepInsideIsSeen) {
  qxVariant other = Sample();
  other.editMap()["list"].editList().back().editMap()["deep"] = "y";
  EXPECT_NE(other, Sample());
}

TEST(qxVariant, IntegersCompareExactly) {
  EXPECT_NE(qxVariant(9007199254740993LL), qxVariant(9007199254740992LL));
  EXPECT_NE(qxVariant(sMax), qxVariant(sMax - 1));
}

TEST(qxVariant, NumbersOfDifferentTagsCompareAsDoubles) {
  EXPECT_EQ(qxVariant(1), qxVariant(1.0));
  EXPECT_EQ(Number("1e0"), qxVariant(1));
  EXPECT_EQ(qxVariant(1.5), Number("15e-1"));
  EXPECT_EQ(Number("1.50"), Number("1.5"));
  EXPECT_NE(Number("1.5"), Number("1.25"));
  EXPECT_NE(qxVariant(1), qxVariant(1.5));
  EXPECT_NE(qxVariant(1), Number("1.5"));
  EXPECT_EQ(Number("-0.0"), qxVariant(0));
  EXPECT_NE(Number("1.5"), qxVariant("1.5"));
}

TEST(qxVariant, LiteralsOfTheSameTextAreEqual) {
  EXPECT_EQ(Number("1e400"), Number("1e400"));
  EXPECT_EQ(Number("123456789012345678901234567890"), Number("123456789012345678901234567890"));
  EXPECT_NE(Number("1e400"), Number("-1e400"));
}

TEST(qxVariant, SwapExchangesTagAndContent) {
  qxVariant a = Sample();
  qxVariant b(5);
  a.swap(b);
  EXPECT_EQ(a, qxVariant(5));
  EXPECT_EQ(b, Sample());
}

TEST(qxVariant, PlainValuesAllocateNothing) {
  const size_t before = test::CountAllocations();
  qxVariant value(5);
  value = true;
  value = 2.5;
  const qxVariant copy(value);
  value.setType(qxVariant::VT_Null);
  EXPECT_FALSE(copy == value);
  EXPECT_EQ(test::CountAllocations(), before);
}

TEST(qxVariant, OutOfMemoryInACopyLeavesBothSidesAsTheyWere) {
  const qxVariant source = Sample();
  size_t allowed = 0;
  for (bool refused = true; refused; ++allowed) {
    qxVariant target("old");
    const long live = test::CountLiveAllocations();
    {
      const test::AllocationLimit limit(allowed);
      try {
        target = source;
        refused = false;
      } catch (const std::bad_alloc&) {
        EXPECT_TRUE(limit.wasHit());
      }
    }
    if (refused) {
      EXPECT_EQ(target, qxVariant("old"));
      EXPECT_EQ(test::CountLiveAllocations(), live);
    } else {
      EXPECT_EQ(target, source);
    }
    ASSERT_EQ(source, Sample());
  }
  EXPECT_GT(allowed, 10U);
}

TEST(qxVariant, OutOfMemoryInAChangeOfKindKeepsTheOldValue) {
  qxVariant value("a text too long for the small buffer of a string");
  for (auto type : {qxVariant::VT_Map, qxVariant::VT_List, qxVariant::VT_String}) {
    const test::AllocationLimit limit(0);
    EXPECT_THROW(value.setType(type), std::bad_alloc);
  }
  EXPECT_EQ(value.getString(), "a text too long for the small buffer of a string");
}

}  // namespace
}  // namespace qx
