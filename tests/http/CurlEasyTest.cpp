#include "netweft/http/internal/CurlEasy.h"

#include "tests/support/CurlTrace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qx::test {
namespace {

using namespace http::impl;
using testing::ElementsAre;

TEST(CurlEasyTest, AFreshHandleHasWhatEveryHandleNeeds) {
  const CurlTrace trace;
  const CurlEasyPtr handle = CreateEasyHandle();
  ASSERT_NE(handle, nullptr);
  EXPECT_THAT(trace.getTexts(handle.get()),
              ElementsAre("XFERINFOFUNCTION set", "PATH_AS_IS 1", "CAINFO null", "CAPATH null"));
}

TEST(CurlEasyTest, EachKindOfValueArrivesWhole) {
  const CurlTrace trace;
  const CurlEasyPtr handle(curl_easy_init());
  CurlStringList lines;
  lines.append("A: 1");
  lines.append("B: 2");
  EXPECT_EQ(SetLong(handle.get(), CURLOPT_TIMEOUT_MS, 2'000'000'000L), CURLE_OK);
  EXPECT_EQ(SetOffset(handle.get(), CURLOPT_INFILESIZE_LARGE, curl_off_t{1} << 40), CURLE_OK);
  EXPECT_EQ(SetText(handle.get(), CURLOPT_USERAGENT, "agent"), CURLE_OK);
  EXPECT_EQ(SetText(handle.get(), CURLOPT_USERAGENT, nullptr), CURLE_OK);
  EXPECT_EQ(SetPointer(handle.get(), CURLOPT_PRIVATE, &lines), CURLE_OK);
  EXPECT_EQ(SetList(handle.get(), CURLOPT_HTTPHEADER, lines.get()), CURLE_OK);
  EXPECT_EQ(UnsetFunction(handle.get(), CURLOPT_HEADERFUNCTION), CURLE_OK);
  EXPECT_THAT(trace.getTexts(),
              ElementsAre("TIMEOUT_MS 2000000000", "INFILESIZE_LARGE 1099511627776", "USERAGENT \"agent\"",
                          "USERAGENT null", "PRIVATE set", "HTTPHEADER [A: 1, B: 2]", "HEADERFUNCTION null"));
}

TEST(CurlEasyTest, WhatLibcurlRefusesComesBack) {
  const CurlEasyPtr handle(curl_easy_init());
  EXPECT_NE(SetLong(handle.get(), CURLOPT_SSLVERSION, 99), CURLE_OK);
  EXPECT_NE(SetLong(nullptr, CURLOPT_POST, 1), CURLE_OK);
}

TEST(CurlEasyTest, AHandleThatDidNothingHasNoAnswers) {
  const CurlEasyPtr handle = CreateEasyHandle();
  EXPECT_EQ(GetLong(handle.get(), CURLINFO_RESPONSE_CODE), 0);
  EXPECT_EQ(GetText(handle.get(), CURLINFO_CONTENT_TYPE), "");
}

TEST(CurlEasyTest, AClearedListIsEmpty) {
  CurlStringList lines;
  EXPECT_EQ(lines.get(), nullptr);
  lines.append("A: 1");
  lines.clear();
  EXPECT_EQ(lines.get(), nullptr);
}

}  // namespace
}  // namespace qx::test
