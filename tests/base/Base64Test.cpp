#include "netweft/base/crypto/Base64.h"

#include <gtest/gtest.h>

namespace qx {
namespace {

constexpr Base64CharSet kAll[] = {B64_Standard, B64_UrlSafe, B64_StandardBare, B64_UrlSafeBare};

string Encode(const string& data, Base64CharSet charSet) {
  string out = "before";
  EXPECT_TRUE(base64Encode(data.data(), data.size(), out, charSet));
  return out;
}

string Decode(const string& text, Base64CharSet charSet) {
  bytes out{'x'};
  EXPECT_TRUE(base64Decode(text, out, charSet)) << text;
  return string(out.begin(), out.end());
}

bool IsBad(const string& text, Base64CharSet charSet) {
  bytes out{'x'};
  return !base64Decode(text, out, charSet) && out.empty();
}

TEST(Base64Test, CharSetNumbersAreFixed) {
  EXPECT_EQ(int{B64_Standard}, 0);
  EXPECT_EQ(int{B64_UrlSafe}, 1);
  EXPECT_EQ(int{B64_StandardBare}, 2);
  EXPECT_EQ(int{B64_UrlSafeBare}, 3);
}

TEST(Base64Test, TheStandardVectorsArePadded) {
  const vector<pair<string, string>> vectors{{"", ""},
                                             {"f", "Zg=="},
                                             {"fo", "Zm8="},
                                             {"foo", "Zm9v"},
                                             {"foob", "Zm9vYg=="},
                                             {"fooba", "Zm9vYmE="},
                                             {"foobar", "Zm9vYmFy"}};
  for (const auto& [data, text] : vectors) {
    EXPECT_EQ(Encode(data, B64_Standard), text);
    EXPECT_EQ(Decode(text, B64_Standard), data);
    EXPECT_EQ(Encode(data, B64_UrlSafe), text);
  }
}

TEST(Base64Test, BareSetsHaveNoPadding) {
  for (const auto charSet : {B64_StandardBare, B64_UrlSafeBare}) {
    EXPECT_EQ(Encode("f", charSet), "Zg");
    EXPECT_EQ(Encode("fo", charSet), "Zm8");
    EXPECT_EQ(Encode("foo", charSet), "Zm9v");
    EXPECT_EQ(Decode("Zg", charSet), "f");
    EXPECT_EQ(Decode("Zm8", charSet), "fo");
  }
}

TEST(Base64Test, TheAlphabetsDifferInTwoLetters) {
  const string data("\xFB\xEF\xBE\xFF\xFF\xFF", 6);
  EXPECT_EQ(Encode(data, B64_Standard), "++++////");
  EXPECT_EQ(Encode(data, B64_UrlSafe), "----____");
  EXPECT_EQ(Encode(data, B64_StandardBare), "++++////");
  EXPECT_EQ(Encode(data, B64_UrlSafeBare), "----____");
}

TEST(Base64Test, EveryTailOfEveryByteSurvives) {
  for (const auto charSet : kAll) {
    for (int byte = 0; byte < 256; ++byte) {
      const char c = static_cast<char>(byte);
      for (const string& data : {string(1, c), string{'a', c}, string{c, c, c}, string{c, 'b', c, 'd'}}) {
        EXPECT_EQ(Decode(Encode(data, charSet), charSet), data) << byte;
      }
    }
  }
}

TEST(Base64Test, NullWithoutLengthIsEmpty) {
  string text = "before";
  EXPECT_TRUE(base64Encode(nullptr, 0, text, B64_Standard));
  EXPECT_EQ(text, "");
  bytes out{'x'};
  EXPECT_TRUE(base64Decode(nullptr, 0, out, B64_Standard));
  EXPECT_TRUE(out.empty());
}

TEST(Base64Test, TheOtherAlphabetIsBadInput) {
  EXPECT_TRUE(IsBad("++++", B64_UrlSafe));
  EXPECT_TRUE(IsBad("////", B64_UrlSafeBare));
  EXPECT_TRUE(IsBad("----", B64_Standard));
  EXPECT_TRUE(IsBad("____", B64_StandardBare));
}

TEST(Base64Test, OnlyTheAlphabetsLettersAreGood) {
  const string letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (int byte = 0; byte < 256; ++byte) {
    const string text = string("AAA") + static_cast<char>(byte);
    const bool isPadding = byte == '=';
    const bool good = isPadding || letters.find(static_cast<char>(byte)) != string::npos;
    EXPECT_EQ(IsBad(text, B64_Standard), !good) << byte;
  }
}

TEST(Base64Test, WhiteSpaceIsBadInput) {
  EXPECT_TRUE(IsBad("Zm9v\n", B64_StandardBare));
  EXPECT_TRUE(IsBad(" Zm9v", B64_StandardBare));
  EXPECT_TRUE(IsBad("Zm 9", B64_Standard));
}

TEST(Base64Test, MissingPaddingIsBadInput) {
  EXPECT_TRUE(IsBad("Zg", B64_Standard));
  EXPECT_TRUE(IsBad("Zg=", B64_Standard));
  EXPECT_TRUE(IsBad("Zm8", B64_UrlSafe));
}

TEST(Base64Test, PaddingWhereThereShouldBeNoneIsBadInput) {
  EXPECT_TRUE(IsBad("Zg==", B64_UrlSafeBare));
  EXPECT_TRUE(IsBad("Zm8=", B64_StandardBare));
  EXPECT_TRUE(IsBad("Zm9v====", B64_Standard));
  EXPECT_TRUE(IsBad("Zg==Zg==", B64_Standard));
  EXPECT_TRUE(IsBad("====", B64_Standard));
  EXPECT_TRUE(IsBad("Z===", B64_Standard));
  EXPECT_TRUE(IsBad("=Zg=", B64_Standard));
  EXPECT_TRUE(IsBad("=", B64_UrlSafe));
}

TEST(Base64Test, ASingleLetterIsBadInput) {
  EXPECT_TRUE(IsBad("Z", B64_StandardBare));
  EXPECT_TRUE(IsBad("Zm9vZ", B64_UrlSafeBare));
}

TEST(Base64Test, LeftOverBitsMustBeZero) {
  EXPECT_TRUE(IsBad("Zh==", B64_Standard));
  EXPECT_TRUE(IsBad("Zh", B64_UrlSafeBare));
  EXPECT_TRUE(IsBad("Zm9=", B64_Standard));
  EXPECT_TRUE(IsBad("Zm9", B64_UrlSafeBare));
}

TEST(Base64Test, ANulInsideIsBadInput) { EXPECT_TRUE(IsBad(string("Zm\0v", 4), B64_Standard)); }

TEST(Base64Test, AnUnknownCharSetFails) {
  for (const int number : {-1, 4}) {
    string text;
    bytes out;
    EXPECT_FALSE(base64Encode("a", 1, text, static_cast<Base64CharSet>(number)));
    EXPECT_FALSE(base64Decode("Zg==", 4, out, static_cast<Base64CharSet>(number)));
  }
}

}  // namespace
}  // namespace qx
