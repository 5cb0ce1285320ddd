#include "netweft/base/json/Json2Variant.h"
#include "tests/base/JsonOracle.h"
#include "tests/base/JsonSupport.h"

#include <gtest/gtest.h>

#include <array>
#include <random>

namespace qx::json {
namespace {

using namespace std::string_literals;

/// Random valid JSON in every spelling: white space, escapes, numbers, duplicate names.
class TextMaker {
 public:
  explicit TextMaker(unsigned seed) : mRandom(seed) {}

  string make() { return below(2) == 0 ? map(0) : list(0); }
  size_t below(size_t limit) { return mRandom() % limit; }

 private:
  template <size_t N>
  string pick(const std::array<const char*, N>& choices) {
    return choices[below(N)];
  }

  string space() { return pick<8>({"", "", "", "", " ", "\n", "\t \r\n", "  "}); }

  string value(int depth) {
    switch (below(depth < 6 ? 8 : 6)) {
      case 0: return text();
      case 1: return number();
      case 2: return text();
      case 3: return "null";
      case 4: return "true";
      case 5: return "false";
      case 6: return map(depth + 1);
      default: return list(depth + 1);
    }
  }

  string list(int depth) {
    string all = space() + "[";
    const size_t count = below(5);
    for (size_t i = 0; i < count; ++i) all += (i == 0 ? "" : ",") + space() + value(depth) + space();
    return all + space() + "]" + space();
  }

  string map(int depth) {
    string all = space() + "{";
    const size_t count = below(5);
    for (size_t i = 0; i < count; ++i) {
      all += (i == 0 ? "" : ",") + space() + text() + space() + ":" + space() + value(depth) + space();
    }
    return all + space() + "}" + space();
  }

  string text() {
    static constexpr std::array<const char*, 32> pieces = {"a",
                                                           "b",
                                                           "zz",
                                                           " ",
                                                           "/",
                                                           "\\/",
                                                           "\\\\",
                                                           "\\\"",
                                                           "\\b",
                                                           "\\f",
                                                           "\\n",
                                                           "\\r",
                                                           "\\t",
                                                           "\\u0000",
                                                           "\\u001F",
                                                           "\\u0041",
                                                           "\\u000a",
                                                           "\\u00e9",
                                                           "\\uFFFF",
                                                           "\\ud800",
                                                           "\\uDBFF",
                                                           "\\udc00",
                                                           "\\uDfFf",
                                                           "\\ud83d\\ude00",
                                                           "\xC3\xA9",
                                                           "\xE2\x82\xAC",
                                                           "\xF0\x9F\x98\x80",
                                                           "\x7F",
                                                           "plain text of some length",
                                                           "}",
                                                           "\\u0022",
                                                           "\\u005c"};
    string all = "\"";
    for (size_t i = below(6); i > 0; --i) all += pick(pieces);
    return all + "\"";
  }

  string number() {
    string all = below(3) == 0 ? "-" : "";
    all += below(4) == 0 ? "0" : std::to_string(mRandom()).substr(0, 1 + below(20));
    if (below(3) == 0) all += "." + std::to_string(mRandom());
    if (below(4) == 0) all += pick<4>({"e", "E+", "e-", "E"}) + std::to_string(below(500));
    return all;
  }

  std::mt19937_64 mRandom;
};

constexpr unsigned sRounds = 4'000;

/// A digit run may start with a zero by chance; such a text is not valid, and the oracle says so.
template <class Check>
void ForValidTexts(Check check) {
  unsigned valid = 0;
  for (unsigned seed = 0; seed < sRounds; ++seed) {
    const string text = TextMaker(seed).make();
    if (!jsonoracle::IsValid(text)) continue;
    ++valid;
    check(text);
    if (testing::Test::HasFatalFailure()) return;
  }
  EXPECT_GT(valid, sRounds / 2);
}

TEST(JsonRoundTrip, WhatWasReadIsNeverWrittenLongerThanItsCompactForm) {
  ForValidTexts([](const string& text) {
    const std::optional<string> written = Rewritten(text);
    ASSERT_TRUE(written) << text;
    ASSERT_LE(written->size(), jsonoracle::Compacted(text).size()) << text;
  });
}

TEST(JsonRoundTrip, WhatWasWrittenIsReadAndWrittenTheSameWay) {
  ForValidTexts([](const string& text) {
    const std::optional<string> written = Rewritten(text);
    ASSERT_TRUE(written) << text;
    ASSERT_EQ(Rewritten(*written), written) << text;
    ASSERT_TRUE(jsonoracle::IsValid(*written)) << text;
  });
}

TEST(JsonRoundTrip, WhatWasWrittenReadsBackAsAnEqualValue) {
  ForValidTexts([](const string& text) {
    qxVariantMapImpl map;
    if (!Json2Variant::Convert(text.data(), text.size(), map)) return;
    string written;
    qxVariantMapImpl again;
    ASSERT_TRUE(Json2Variant::Convert(map, written, false));
    ASSERT_TRUE(Json2Variant::Convert(written.data(), written.size(), again));
    ASSERT_TRUE(map == again) << text;
  });
}

TEST(JsonRoundTrip, ADamagedTextIsJudgedAsTheGrammarDoes) {
  static const string bytes = "{}[],:\"\\u0-+.eEtrf \n\x01\x80\xC3\xED\xA0\xFF\0"s;
  TextMaker random(1);
  for (unsigned seed = 0; seed < sRounds; ++seed) {
    string text = TextMaker(seed).make();
    for (size_t damages = 1 + random.below(2); damages > 0 && !text.empty(); --damages) {
      const size_t place = random.below(text.size());
      switch (random.below(3)) {
        case 0: text.erase(place, 1); break;
        case 1: text.insert(place, 1, bytes[random.below(bytes.size())]); break;
        default: text[place] = bytes[random.below(bytes.size())]; break;
      }
    }
    ASSERT_EQ(Rewritten(text).has_value(), jsonoracle::IsValid(text)) << text;
  }
}

}  // namespace
}  // namespace qx::json
