#include "netweft/base/json/internal/JsonNumber.h"

#include "netweft/base/json/internal/JsonOutput.h"
#include "netweft/base/system/internal/qxVariantAccess.h"
#include "tests/base/JsonSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

namespace qx::json {
namespace {

constexpr int64 sLargest = std::numeric_limits<int64>::max();
constexpr int64 sSmallest = std::numeric_limits<int64>::min();

string IntegerText(int64 value) {
  string text;
  JsonOutput out(text);
  out.putInteger(value);
  out.flush();
  return text;
}

TEST(JsonNumber, DigitsAloneInTheRangeAreAnInteger) {
  const pair<string, int64> integers[] = {{"0", 0},
                                          {"1", 1},
                                          {"-1", -1},
                                          {"10", 10},
                                          {"4294967296", 4294967296},
                                          {"9007199254740993", 9007199254740993},
                                          {"999999999999999999", 999999999999999999},
                                          {"1000000000000000000", 1000000000000000000},
                                          {"9223372036854775807", sLargest},
                                          {"-9223372036854775807", -sLargest},
                                          {"-9223372036854775808", sSmallest}};
  for (const auto& [text, value] : integers) {
    const std::optional<qxVariant> read = ReadElement(text);
    ASSERT_TRUE(read) << text;
    EXPECT_EQ(read->getType(), qxVariant::VT_Integer) << text;
    EXPECT_EQ(qxVariantAccess::GetInteger(*read), value) << text;
    EXPECT_EQ(RewrittenElement(text), text);
  }
}

TEST(JsonNumber, MinusZeroWithoutAFractionIsTheIntegerZero) {
  EXPECT_EQ(ReadElement("-0")->getType(), qxVariant::VT_Integer);
  EXPECT_EQ(RewrittenElement("-0"), "0");
}

TEST(JsonNumber, EveryOtherNumberKeepsItsLiteral) {
  const string literals[] = {"9223372036854775808",
                             "-9223372036854775809",
                             "18446744073709551615",
                             "18446744073709551616",
                             "10000000000000000000",
                             "99999999999999999999999999999999999999",
                             "-99999999999999999999999999999999999999",
                             "0.1",
                             "-0.0",
                             "0.0",
                             "-0.5",
                             "1.0",
                             "1.50",
                             "100.000",
                             "1e2",
                             "1E2",
                             "1e+2",
                             "1E-2",
                             "0e0",
                             "-0e-0",
                             "0E+00",
                             "1e0000000000000000001",
                             "1.7976931348623157e308",
                             "1.7976931348623159e308",
                             "5e-324",
                             "2e-324",
                             "1E400",
                             "-1E400",
                             "1e-400",
                             "1e99999999999999999999",
                             "1e-99999999999999999999",
                             "3.14159265358979323846264338327950288419716939937510",
                             "123456789012345678901234567890.123456789012345678901234567890e+12",
                             "0.00000000000000000000000000000000000000000000000000000000000001"};
  for (const string& literal : literals) {
    const std::optional<qxVariant> read = ReadElement(literal);
    ASSERT_TRUE(read) << literal;
    EXPECT_EQ(read->getType(), qxVariant::VT_Number) << literal;
    EXPECT_EQ(read->toString(), literal);
    EXPECT_EQ(RewrittenElement(literal), literal);
  }
}

TEST(JsonNumber, ALiteralOfAMebibyteIsKept) {
  const string digits = string(1 << 20, '7');
  EXPECT_EQ(RewrittenElement(digits), digits);
  EXPECT_EQ(RewrittenElement("0." + digits), "0." + digits);
  EXPECT_EQ(RewrittenElement("1e" + digits), "1e" + digits);
}

TEST(JsonNumber, WhatTheGrammarDoesNotHaveIsRefused) {
  const string broken[] = {"00",       "01",           "-00",       "-01",  "007",   "1.",    "-1.",  ".5",    "-.5",
                           "+1",       "+0",           "++1",       "--1",  "-",     "+",     "-a",   "1e",    "1e+",
                           "1e-",      "1E",           "1.e1",      ".e1",  "1e1.5", "1e1e1", "1..2", "1.2.3", "0x10",
                           "0b1",      "1_000",        "1'000",     "1,5x", "1 000", "- 1",   "NaN",  "nan",   "-NaN",
                           "Infinity", "-Infinity",    "inf",       "1f",   "1L",    "1a",    "a1",   "1-",    "1+1",
                           "1/2",      "\xEF\xBC\x91", "1\xC2\xA0", "0e",   "0.",    "-0.",   "00.5", "1e 5",  "1 e5",
                           "1. 5"};
  for (const string& text : broken) EXPECT_FALSE(ReadElement(text)) << text;
}

TEST(JsonNumber, IntegersAreWrittenInDecimal) {
  EXPECT_EQ(IntegerText(0), "0");
  EXPECT_EQ(IntegerText(-1), "-1");
  EXPECT_EQ(IntegerText(100000), "100000");
  EXPECT_EQ(IntegerText(sLargest), "9223372036854775807");
  EXPECT_EQ(IntegerText(sSmallest), "-9223372036854775808");
}

TEST(JsonNumber, DoublesAreWrittenInTheirShortestForm) {
  EXPECT_EQ(JsonDoubleText(0.0), "0");
  EXPECT_EQ(JsonDoubleText(-0.0), "-0");
  EXPECT_EQ(JsonDoubleText(0.1), "0.1");
  EXPECT_EQ(JsonDoubleText(0.1 + 0.2), "0.30000000000000004");
  EXPECT_EQ(JsonDoubleText(1234.5), "1234.5");
  EXPECT_EQ(JsonDoubleText(1e300), "1e+300");
  EXPECT_EQ(JsonDoubleText(-2.5e-7), "-2.5e-07");
}

TEST(JsonNumber, DoublesThatAreNotFiniteAreNull) {
  EXPECT_EQ(JsonDoubleText(std::numeric_limits<double>::infinity()), "null");
  EXPECT_EQ(JsonDoubleText(-std::numeric_limits<double>::infinity()), "null");
  EXPECT_EQ(JsonDoubleText(std::numeric_limits<double>::quiet_NaN()), "null");
}

TEST(JsonNumber, AnyDoubleReadsBackAsItself) {
  std::mt19937_64 random(20260417);
  for (int i = 0; i < 4000; ++i) {
    const uint64 bits = random();
    double value;
    std::memcpy(&value, &bits, sizeof value);
    if (!std::isfinite(value)) continue;
    const string text = JsonDoubleText(value);
    ASSERT_TRUE(ReadElement(text)) << text;
    EXPECT_EQ(*ReadElement(text), qxVariant(value)) << text;
  }
}

TEST(JsonNumber, AnyIntegerReadsBackAsItself) {
  std::mt19937_64 random(4711);
  for (int i = 0; i < 4000; ++i) {
    const auto value = static_cast<int64>(random() >> (random() % 64));
    EXPECT_EQ(RewrittenElement(IntegerText(value)), IntegerText(value));
    EXPECT_EQ(ReadElement(IntegerText(value))->toInteger(), value);
  }
}

}  // namespace
}  // namespace qx::json
