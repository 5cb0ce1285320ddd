#include "netweft/river/internal/IndexName.h"

#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

namespace qx::couch {
namespace {

TEST(IndexName, OrdinaryNamesAreConcrete) {
  for (const string name :
       {"a", "things", "things-2026.01", "a_b", "a-b", "a+b", ".hidden", "...", "1", "caf\xc3\xa9"}) {
    EXPECT_TRUE(IsConcreteIndexName(name)) << name;
  }
}

TEST(IndexName, NamesThatMeanMoreThanOneIndexAreRefused) {
  for (const string name : {"*", "a*", "a,b", "a?", "_all", "<a-{now/d}>", "-a", "+a", "*,-a"}) {
    EXPECT_FALSE(IsConcreteIndexName(name)) << name;
  }
}

TEST(IndexName, NamesThatReachAnotherPathAreRefused) {
  for (const string name : {"", ".", "..", "a/b", "/", "a\\b", "_mapping", "a#b"}) {
    EXPECT_FALSE(IsConcreteIndexName(name)) << name;
  }
}

TEST(IndexName, EachForbiddenCharacterIsRefusedWhereverItStands) {
  for (const char c : string("*?,<>|\"\\#/ \t\n\r\v\f\x01\x7f") + '\0') {
    EXPECT_FALSE(IsConcreteIndexName(string(1, c) + "ab")) << static_cast<int>(c);
    EXPECT_FALSE(IsConcreteIndexName("a" + string(1, c) + "b")) << static_cast<int>(c);
    EXPECT_FALSE(IsConcreteIndexName("ab" + string(1, c))) << static_cast<int>(c);
  }
}

TEST(IndexName, ARequiredNameThatIsConcreteLogsNothing) {
  const test::LogCapture log;
  EXPECT_TRUE(RequireConcreteIndexName("things"));
  EXPECT_TRUE(log.getLines().empty());
}

TEST(IndexName, ARequiredNameThatIsNotLogsAnError) {
  const test::LogCapture log;
  EXPECT_FALSE(RequireConcreteIndexName("a,b"));
  EXPECT_EQ(log.getLines(),
            vector<test::CapturedLine>{test::Error("Index name 'a,b' is refused, it does not name one single index")});
}

}  // namespace
}  // namespace qx::couch
