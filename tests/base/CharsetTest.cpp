#include "netweft/base/system/qxStringUtils.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace qx {
namespace {

using enum qxStringUtils::qxCharSet;

/// Sets the character type of the environment while it lives.
class LocaleOfEnvironment {
 public:
  explicit LocaleOfEnvironment(const char* name) {
    const char* previous = std::getenv("LC_ALL");
    mHadPrevious = previous != nullptr;
    if (mHadPrevious) mPrevious = previous;
    setenv("LC_ALL", name, 1);
  }
  ~LocaleOfEnvironment() {
    if (mHadPrevious) {
      setenv("LC_ALL", mPrevious.c_str(), 1);
    } else {
      unsetenv("LC_ALL");
    }
  }

 private:
  bool mHadPrevious;
  string mPrevious;
};

TEST(Charset, NumbersAreFixed) {
  EXPECT_EQ(int{CS_Local}, 0);
  EXPECT_EQ(int{CS_Utf8}, 1);
}

TEST(Charset, Utf8BecomesWideTextAndComesBack) {
  const string text = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80" + string("\0z", 2);
  const std::wstring wide = L"a\u00E9\u20AC\U0001F600" + std::wstring(L"\0z", 2);
  EXPECT_EQ(qxStringUtils::convertToUnicode(text, CS_Utf8), wide);
  EXPECT_EQ(qxStringUtils::convertTo8Bits(wide, CS_Utf8), text);
}

TEST(Charset, EmptyTextStaysEmpty) {
  EXPECT_EQ(qxStringUtils::convertToUnicode("", CS_Utf8), L"");
  EXPECT_EQ(qxStringUtils::convertTo8Bits(L"", CS_Local), "");
  EXPECT_EQ(qxStringUtils::convertCharset("", CS_Local, CS_Utf8), "");
}

TEST(Charset, LongTextIsConvertedWhole) {
  string text;
  for (int i = 0; i < 5000; ++i) text += "\xE2\x82\xAC";
  EXPECT_EQ(qxStringUtils::convertToUnicode(text, CS_Utf8), std::wstring(5000, L'\u20AC'));
  EXPECT_EQ(qxStringUtils::convertTo8Bits(std::wstring(5000, L'\u20AC'), CS_Utf8), text);
}

TEST(Charset, BrokenInputBecomesQuestionMarks) {
  EXPECT_EQ(qxStringUtils::convertToUnicode("a\xFF"
                                            "b",
                                            CS_Utf8),
            L"a?b");
  EXPECT_EQ(qxStringUtils::convertToUnicode("a\xC3", CS_Utf8), L"a?");
  EXPECT_EQ(qxStringUtils::convertTo8Bits(std::wstring(1, static_cast<wchar_t>(0xD800)) + L"b", CS_Utf8), "?b");
}

TEST(Charset, LocalCodePageIsThatOfTheEnvironment) {
  const string text = "a\xC3\xA9z";
  {
    const LocaleOfEnvironment utf8("C.UTF-8");
    EXPECT_EQ(qxStringUtils::convertCharset(text, CS_Utf8, CS_Local), text);
    EXPECT_EQ(qxStringUtils::convertCharset(text, CS_Local, CS_Utf8), text);
  }
  {
    const LocaleOfEnvironment ascii("C");
    EXPECT_EQ(qxStringUtils::convertCharset(text, CS_Utf8, CS_Local), "a?z");
    EXPECT_EQ(qxStringUtils::convertCharset(text, CS_Local, CS_Utf8), "a??z");
  }
}

}  // namespace
}  // namespace qx
