#include "netweft/base/json/internal/JsonReader.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/json/internal/JsonTokens.h"
#include "tests/base/JsonOracle.h"
#include "tests/base/JsonSupport.h"

#include <gtest/gtest.h>

#include <pthread.h>

#include <functional>

namespace qx::json {
namespace {

using namespace std::string_literals;

constexpr int sEveryByte = 256;

/// Everything that a text can hold, with an object outermost: no prefix of it is valid.
const string& EverythingText() {
  static const string text =
      " {\"a\" : [1, -2.5e+3 ,\ttrue,false,null, {}, [ ] ],\r\n \"\\u0062\\\"\\\\\": "
      "\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"
      "\\ud83d\\ude00\\n\\/\" , \"\":{\"deep\":[[[{\"x\":0}]]]}}";
  return text;
}

TEST(JsonReader, AcceptsEveryFormOfValidText) {
  const string valid[] = {"{}",
                          "[]",
                          " { } ",
                          "\t[\n]\r",
                          "[null]",
                          "[true]",
                          "[false]",
                          "[0]",
                          "[-1]",
                          "[\"\"]",
                          "[\"a\"]",
                          "[ 1 , 2 ]",
                          "[[]]",
                          "[{}]",
                          "{\"\":0}",
                          "{\"a\":1}",
                          "{\"a\":{}}",
                          "{\"a\":[]}",
                          "{ \"a\" : 1 , \"b\" : 2 }",
                          "[[[[]]]]",
                          "[1,[2,[3,[4]]]]",
                          "[\"\\u0000\"]",
                          "[\"\\uFFFF\"]",
                          "[\"\x7F\"]",
                          "[\"\xEF\xBF\xBF\"]",
                          "[\"\xF4\x8F\xBF\xBF\"]",
                          "[\"\xE2\x80\xA8\xE2\x80\xA9\"]",
                          "[\"/\"]",
                          "[\"\\/\"]",
                          "[\"'\"]",
                          "[\",]\"]",
                          "[\"}{[\",\"][:\"]",
                          "{\":\":\",\"}",
                          "[\"\\\\\"]",
                          "[\"\\\\\\\"\"]",
                          "[\"\\\\u0041\"]",
                          "[1E400,-1e-400]",
                          "\n\n\n[\n1\n]\n\n\n",
                          EverythingText()};
  for (const string& text : valid) {
    EXPECT_TRUE(Rewritten(text)) << text;
    EXPECT_TRUE(jsonoracle::IsValid(text)) << text;
  }
}

TEST(JsonReader, RefusesEveryFormOfBrokenText) {
  const string broken[] = {"",
                           " ",
                           "\n",
                           "{",
                           "}",
                           "[",
                           "]",
                           "{]",
                           "[}",
                           "[[]",
                           "[]]",
                           "{}}",
                           "{{}}",
                           "[{]}",
                           "[,]",
                           "[1,]",
                           "[,1]",
                           "[1,,2]",
                           "[1 2]",
                           "[1:2]",
                           "[\"a\" \"b\"]",
                           "[\"a\":1]",
                           "[true false]",
                           "[[] []]",
                           "{,}",
                           "{\"a\"}",
                           "{\"a\":}",
                           "{\"a\":1,}",
                           "{,\"a\":1}",
                           "{\"a\":1,,\"b\":2}",
                           "{\"a\":1 \"b\":2}",
                           "{\"a\" 1}",
                           "{\"a\",1}",
                           "{\"a\"::1}",
                           "{:1}",
                           "{1:1}",
                           "{a:1}",
                           "{'a':1}",
                           "{null:1}",
                           "{[]:1}",
                           "{{}:1}",
                           "{\"a\":1:2}",
                           "{\"a\":\"b\" \"c\"}",
                           "[\"a]",
                           "[\"a\\\"]",
                           "[a\"]",
                           "[']",
                           "['a']",
                           "[\"a\"b]",
                           "[b\"a\"]",
                           "[\"a\"\"b\"]",
                           "[\"a\"1]",
                           "[1\"a\"]",
                           "[\"a\"null]",
                           "{\"a\"b:1}",
                           "{\"a\":b\"c\"}",
                           "[1]x",
                           "[1] 2",
                           "[1],",
                           "[1][2]",
                           "{}{}",
                           "{},",
                           "{} \"a\"",
                           "{}:",
                           "{}#",
                           "[]/",
                           "[1]//x",
                           "[1]/**/",
                           "/**/[1]",
                           "[/**/1]",
                           "[1]\0"s,
                           "\0[1]"s,
                           "[\0]"s,
                           "[1\0]"s,
                           "[1]\x1A",
                           "[\f1]",
                           "[1\f]",
                           "[1\v]",
                           "[\"a\"\f]",
                           "[]\f",
                           "\f[]",
                           "[\xC2\xA0]",
                           "\xC2\xA0[]",
                           "[]\xE2\x80\x8B",
                           "\xEF\xBB\xBF[]",
                           "\xEF\xBB\xBF{}",
                           "[]\xEF\xBB\xBF",
                           "\xFE\xFF[]",
                           "[\0]\0"s,
                           "[\0\"\0a\0\"\0]\0"s,
                           "[True]",
                           "[TRUE]",
                           "[truth]",
                           "[tru]",
                           "[truee]",
                           "[true1]",
                           "[fals]",
                           "[falsee]",
                           "[nul]",
                           "[nulll]",
                           "[NULL]",
                           "[nil]",
                           "[None]",
                           "[undefined]",
                           "[t]",
                           "[n]",
                           "[f]",
                           "1",
                           "\"a\"",
                           "null",
                           "true",
                           "-",
                           "[\\n]",
                           "[\\u0041]",
                           "\\",
                           "*",
                           "[*]",
                           "[`a`]",
                           "[(1)]",
                           "<[]>",
                           "[\"a\",]",
                           "[\"a\",",
                           "{\"a\":[1,2}",
                           "{\"a\":{\"b\":1}",
                           "[{\"a\":1]",
                           "[1",
                           "[1,",
                           "{\"a\":1",
                           "{\"a\":1,",
                           "{\"a\":",
                           "{\"a\"",
                           "{\"a"};
  for (const string& text : broken) {
    EXPECT_FALSE(Rewritten(text)) << text;
    EXPECT_FALSE(jsonoracle::IsValid(text)) << text;
  }
}

TEST(JsonReader, RefusesATextCutAnywhere) {
  const string& text = EverythingText();
  for (size_t length = 0; length < text.size(); ++length) EXPECT_FALSE(Rewritten(text.substr(0, length))) << length;
  EXPECT_TRUE(Rewritten(text));
}

TEST(JsonReader, RefusesATextWithAnyByteMissingWhereTheGrammarDoes) {
  const string& text = EverythingText();
  for (size_t i = 0; i < text.size(); ++i) {
    string cut = text;
    cut.erase(i, 1);
    EXPECT_EQ(Rewritten(cut).has_value(), jsonoracle::IsValid(cut)) << cut;
  }
}

TEST(JsonReader, AcceptsOnlyWhiteSpaceAroundTheValue) {
  for (int byte = 0; byte < sEveryByte; ++byte) {
    const char c = static_cast<char>(byte);
    const bool space = c == ' ' || c == '\t' || c == '\n' || c == '\r';
    EXPECT_EQ(Rewritten("{}"s + c).has_value(), space) << byte;
    EXPECT_EQ(Rewritten(c + "{}"s).has_value(), space) << byte;
    EXPECT_EQ(Rewritten("[]"s + c).has_value(), space) << byte;
    EXPECT_EQ(Rewritten(c + "[]"s).has_value(), space) << byte;
  }
}

TEST(JsonReader, EveryByteAtEveryPlaceIsJudgedAsTheGrammarDoes) {
  const string text = R"({"a":[1.5e2,"b\n\u00e9",true],"c":null})";
  for (size_t place = 0; place < text.size(); ++place) {
    for (int byte = 0; byte < sEveryByte; ++byte) {
      string changed = text;
      changed[place] = static_cast<char>(byte);
      EXPECT_EQ(Rewritten(changed).has_value(), jsonoracle::IsValid(changed)) << place << " " << byte;
    }
  }
}

TEST(JsonReader, EveryByteBetweenTokensIsJudgedAsTheGrammarDoes) {
  const string text = R"({"a":[1,"b",true],"c":null})";
  for (size_t place = 0; place <= text.size(); ++place) {
    for (int byte = 0; byte < sEveryByte; ++byte) {
      string changed = text;
      changed.insert(place, 1, static_cast<char>(byte));
      EXPECT_EQ(Rewritten(changed).has_value(), jsonoracle::IsValid(changed)) << place << " " << byte;
    }
  }
}

TEST(JsonReader, TokensAreFoundAcrossTheScannersBlocks) {
  const string text = R"(["\\\"",{"k":"v\\"},-1.25E+3,true])";
  for (size_t shift = 0; shift < 130; ++shift) {
    for (const string& padding : {string(shift, ' '), "[\"" + string(shift, 'x') + "\","}) {
      const string moved = padding + text + (padding.find('[') == string::npos ? "" : "]");
      EXPECT_EQ(Rewritten(moved), jsonoracle::Compacted(moved)) << shift;
    }
  }
}

TEST(JsonReader, RunsOfBackslashesOfAnyLengthAreFoundAcrossTheScannersBlocks) {
  for (size_t shift = 0; shift < 70; ++shift) {
    for (size_t count = 0; count < 70; ++count) {
      const string text = "[\"" + string(shift, 'x') + string(count, '\\') + "\"]";
      EXPECT_EQ(Rewritten(text).has_value(), count % 2 == 0) << shift << " " << count;
    }
  }
}

TEST(JsonReader, LevelsUpToAThousandAreRead) {
  for (const size_t levels : {size_t{1}, size_t{999}, size_t{1000}}) {
    const string lists = Repeated("[", levels) + Repeated("]", levels);
    EXPECT_EQ(Rewritten(lists), lists) << levels;
    const string objects = Repeated("{\"a\":", levels - 1) + "{}" + Repeated("}", levels - 1);
    EXPECT_EQ(Rewritten(objects), objects) << levels;
  }
}

TEST(JsonReader, AThousandAndOneLevelsAreRefused) {
  EXPECT_FALSE(Rewritten(Repeated("[", 1001) + Repeated("]", 1001)));
  EXPECT_FALSE(Rewritten(Repeated("{\"a\":", 1000) + "{}" + Repeated("}", 1000)));
  EXPECT_FALSE(Rewritten(Repeated("[{\"a\":", 500) + "[]" + Repeated("}]", 500)));
}

TEST(JsonReader, ManyContainersBesideEachOtherAreNoLevels) {
  const string text = "[" + Repeated("[],", 5000) + Repeated("{},", 5000) + "[]]";
  EXPECT_EQ(Rewritten(text), text);
}

TEST(JsonReader, TenMillionOpenBracketsAreRefused) {
  EXPECT_FALSE(Rewritten(string(10'000'000, '[')));
  EXPECT_FALSE(Rewritten(Repeated("{\"\":", 2'500'000)));
}

/// Runs `work` on a thread with a stack of 128 KiB.
void RunOnSmallStack(std::function<void()> work) {
  constexpr size_t stackSize = 128 * 1024;
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, stackSize);
  pthread_t thread;
  const auto run = [](void* argument) -> void* {
    (*static_cast<std::function<void()>*>(argument))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, run, &work), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

TEST(JsonReader, AThreadWithASmallStackReadsTheDeepestText) {
  std::optional<string> written;
  const string text = Repeated("[{\"a\":", 499) + "[{}]" + Repeated("}]", 499);
  RunOnSmallStack([&] { written = Rewritten(text); });
  EXPECT_EQ(written, text);
}

TEST(JsonReader, OfEqualNamesTheLastWins) {
  EXPECT_EQ(Rewritten(R"({"a":1,"a":2})"), R"({"a":2})");
  EXPECT_EQ(Rewritten(R"({"a":{"x":1},"b":0,"a":[1]})"), R"({"a":[1],"b":0})");
  EXPECT_EQ(Rewritten(R"({"a":[1],"a":{}})"), R"({"a":{}})");
  EXPECT_EQ(Rewritten(R"({"a":{"x":1},"a":{"y":2}})"), R"({"a":{"y":2}})");
  EXPECT_EQ(Rewritten(R"({"a":[1,2],"a":[3]})"), R"({"a":[3]})");
  EXPECT_EQ(Rewritten(R"({"a":"x","a":null})"), R"({"a":null})");
  EXPECT_EQ(Rewritten(R"({"a":1.5,"a":"x","a":"y"})"), R"({"a":"y"})");
}

TEST(JsonReader, NamesThatDifferInSpellingAloneAreEqual) {
  EXPECT_EQ(Rewritten(R"({"a":1,"\u0061":2})"), R"({"a":2})");
  EXPECT_EQ(Rewritten("{\"\xC3\xA9\":1,\"\\u00E9\":2}"), "{\"\xC3\xA9\":2}");
  EXPECT_EQ(Rewritten("{\"\\ud83d\\ude00\":1,\"\xF0\x9F\x98\x80\":2}"), "{\"\xF0\x9F\x98\x80\":2}");
}

TEST(JsonReader, MembersComeInTheOrderOfTheirBytes) {
  EXPECT_EQ(Rewritten("{\"b\":1,\"\xC3\xA9\":2,\"ab\":3,\"a\":4,\"\":5,\"B\":6,\"\\u0000\":7,\"a\\u0000\":8}"),
            "{\"\":5,\"\\u0000\":7,\"B\":6,\"a\":4,\"a\\u0000\":8,\"ab\":3,\"b\":1,\"\xC3\xA9\":2}");
}

TEST(JsonReader, EachKindGetsItsTag) {
  EXPECT_EQ(ReadElement("17")->getType(), qxVariant::VT_Integer);
  EXPECT_EQ(ReadElement("\"x\"")->getType(), qxVariant::VT_String);
  EXPECT_EQ(ReadElement("true")->getType(), qxVariant::VT_Bool);
  EXPECT_EQ(ReadElement("false")->getType(), qxVariant::VT_Bool);
  EXPECT_EQ(ReadElement("null")->getType(), qxVariant::VT_Null);
  EXPECT_EQ(ReadElement("1.0")->getType(), qxVariant::VT_Number);
  EXPECT_EQ(ReadElement("{}")->getType(), qxVariant::VT_Map);
  EXPECT_EQ(ReadElement("[]")->getType(), qxVariant::VT_List);
  EXPECT_TRUE(ReadElement("true")->toBool());
  EXPECT_FALSE(ReadElement("false")->toBool());
}

TEST(JsonReader, KeepsANameWithANulWhole) {
  qxVariantMapImpl map;
  const string text = R"({"a\u0000b":1})";
  ASSERT_TRUE(Json2Variant::Convert(text.data(), text.size(), map));
  EXPECT_TRUE(map.contains("a\0b"s));
  EXPECT_FALSE(map.contains("a"));
}

TEST(JsonReader, LeavesTokensBehindTheFirstErrorUnread) {
  JsonTokens tokens;
  ASSERT_TRUE(tokens.scan("[1 2]"));
  qxVariantListImpl list;
  EXPECT_FALSE(JsonReader(tokens).read(list));
  EXPECT_EQ(list.size(), 1U);
}

}  // namespace
}  // namespace qx::json
