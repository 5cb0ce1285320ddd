#pragma once

#include "netweft/addressing/Url.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qx::test {

/// `text` as a Url; the test fails when it is none.
inline Url Parse(const string& text, bool normalize = false) {
  Url url(Url::CS_Empty);
  string error;
  EXPECT_TRUE(url.fromEncodedUtf8String(text, &error, normalize)) << text << ": " << error;
  return url;
}

/// What is rendered of a parsed `text`.
inline string RoundTrip(const string& text) { return Parse(text).toEncodedUrl(); }

inline void ExpectEmpty(const Url& url) {
  EXPECT_FALSE(url.isValid());
  EXPECT_EQ(url.getSchema(), "");
  EXPECT_EQ(url.getUser(), "");
  EXPECT_EQ(url.getPassword(), "");
  EXPECT_EQ(url.getHost(), "");
  EXPECT_FALSE(url.isUseCredentialsOnUrlParameters());
  EXPECT_THAT(url.getUrlParameters(), testing::IsEmpty());
  EXPECT_THAT(url.getPath(), testing::IsEmpty());
  EXPECT_EQ(url.getPort(), 0);
}

/// A Url with something in each of its fields.
inline Url MakeFullUrl() {
  Url url("https://us:pw@host.example:8443/a/b?k=v");
  url.setCredentialsOnQueryParameter("us", "pw", "authdb");
  return url;
}

}  // namespace qx::test
