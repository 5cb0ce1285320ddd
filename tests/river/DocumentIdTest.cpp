#include "netweft/river/internal/DocumentId.h"

#include <gtest/gtest.h>

#include <cstring>

namespace qx::couch {
namespace {

using namespace std::string_view_literals;

static_assert(sizeof(DocumentId) == sizeof(void*));

TEST(DocumentId, IsEmptyFromTheStart) {
  const DocumentId id;
  EXPECT_EQ(id.view(), "");
  EXPECT_STREQ(id.c_str(), "");
}

TEST(DocumentId, KeepsEveryByte) {
  const std::string_view text = "a\0b\xff"sv;
  EXPECT_EQ(DocumentId(text).view(), text);
  EXPECT_EQ(DocumentId(text).toString(), string(text));
}

TEST(DocumentId, AnIdWithANulIsAnotherThanItsBeginning) {
  EXPECT_FALSE(DocumentId("a\0b"sv) == DocumentId("a"));
  EXPECT_FALSE(DocumentId("a\0"sv) == DocumentId("a"));
}

TEST(DocumentId, EqualBytesAreEqual) {
  EXPECT_TRUE(DocumentId("a\0b"sv) == DocumentId("a\0b"sv));
  EXPECT_TRUE(DocumentId("") == DocumentId());
}

TEST(DocumentId, IsTerminated) {
  const DocumentId id("abc"sv.substr(0, 2));
  EXPECT_EQ(std::strlen(id.c_str()), 2U);
}

TEST(DocumentId, AViewOutlivesTheMove) {
  DocumentId id("document");
  const std::string_view view = id.view();
  const DocumentId moved = std::move(id);
  EXPECT_EQ(view.data(), moved.view().data());
  EXPECT_EQ(view, "document");
}

TEST(DocumentId, OwnsACopy) {
  string text = "document";
  const DocumentId id(text);
  text.assign("xxxxxxxx");
  EXPECT_EQ(id.view(), "document");
}

}  // namespace
}  // namespace qx::couch
