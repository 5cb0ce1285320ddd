#include "netweft/base/json/internal/JsonWriter.h"

#include "netweft/base/json/Json2Variant.h"
#include "tests/base/JsonDevice.h"
#include "tests/base/JsonSupport.h"

#include <gtest/gtest.h>

#include <limits>

namespace qx::json {
namespace {

template <class Container>
string Written(const Container& container, bool pretty = false) {
  string text;
  Json2Variant::Convert(container, text, pretty);
  return text;
}

/// A list in a list in a list..., `levels` deep with the outermost.
qxVariantListImpl NestedLists(size_t levels) {
  qxVariantListImpl outer;
  for (size_t i = 1; i < levels; ++i) {
    qxVariantListImpl next;
    next.push_back(qxVariant(std::move(outer)));
    outer = std::move(next);
  }
  return outer;
}

TEST(JsonWriter, WritesMembersInOrderWithoutBlanks) {
  qxVariantMapImpl map;
  map["b"] = qxVariant(2);
  map["a"] = qxVariant("x");
  map["ab"] = qxVariant(true);
  map["B"].editList().push_back(qxVariant(1.5));
  map["c"].setType(qxVariant::VT_Null);
  EXPECT_EQ(Written(map), R"({"B":[1.5],"a":"x","ab":true,"b":2,"c":null})");
}

TEST(JsonWriter, EmptyContainersAreBracketsAlone) {
  EXPECT_EQ(Written(qxVariantMapImpl()), "{}");
  EXPECT_EQ(Written(qxVariantListImpl()), "[]");
  EXPECT_EQ(Written(qxVariantMapImpl(), true), "{}");
  EXPECT_EQ(Written(qxVariantListImpl(), true), "[]");
}

TEST(JsonWriter, AbsentMembersAreLeftOut) {
  qxVariantMapImpl map;
  map["a"];
  EXPECT_EQ(Written(map), "{}");
  EXPECT_EQ(Written(map, true), "{}");
  map["b"] = qxVariant(1);
  map["c"];
  EXPECT_EQ(Written(map), R"({"b":1})");
}

TEST(JsonWriter, AbsentElementsAreNull) {
  qxVariantListImpl list;
  list.push_back(qxVariant());
  list.push_back(qxVariant(1));
  list.push_back(qxVariant());
  EXPECT_EQ(Written(list), "[null,1,null]");
}

TEST(JsonWriter, NamesAreEscapedLikeTexts) {
  qxVariantMapImpl map;
  map["a\"\n\xED\xA0\x80/\xFF"] = qxVariant(1);
  map[string("\0", 1)] = qxVariant(2);
  EXPECT_EQ(Written(map), "{\"\\u0000\":2,\"a\\\"\\n\\ud800/\xEF\xBF\xBD\":1}");
}

TEST(JsonWriter, DoublesOfAHostAreShortAndNullWhenNotFinite) {
  qxVariantListImpl list;
  list.push_back(qxVariant(0.1));
  list.push_back(qxVariant(3.0));
  list.push_back(qxVariant(std::numeric_limits<double>::infinity()));
  EXPECT_EQ(Written(list), "[0.1,3,null]");
}

TEST(JsonWriter, PrettyIndentsByTwoBlanks) {
  qxVariantMapImpl map;
  map["a"].editList().push_back(qxVariant(1));
  map["a"].editList().push_back(qxVariant(2));
  map["b"].editMap();
  map["c"].editMap()["d"] = qxVariant("x");
  EXPECT_EQ(Written(map, true),
            "{\n  \"a\": [\n    1,\n    2\n  ],\n  \"b\": {},\n  \"c\": {\n    \"d\": \"x\"\n  }\n}");
}

TEST(JsonWriter, WhatIsPrettyReadsBackAsTheSame) {
  const string text = R"({"a":[1,[],{},"x, y: {z}"],"b":{"c":null}})";
  qxVariantMapImpl map;
  ASSERT_TRUE(Json2Variant::Convert(text.data(), text.size(), map));
  EXPECT_EQ(Rewritten(Written(map, true)), text);
}

TEST(JsonWriter, NestingOfAnyDepthIsWritten) {
  constexpr size_t levels = 300'000;
  EXPECT_EQ(Written(NestedLists(levels)), Repeated("[", levels) + Repeated("]", levels));
}

TEST(JsonWriter, StopsWhenTheOutputFails) {
  qxVariantListImpl list;
  for (int i = 0; i < 100'000; ++i) list.push_back(qxVariant("some text"));
  JsonDevice device;
  device.room = 0;
  JsonOutput out(&device);
  JsonWriter(out, false).write(list);
  EXPECT_TRUE(out.failed());
  EXPECT_EQ(device.writes, 1);
}

}  // namespace
}  // namespace qx::json
