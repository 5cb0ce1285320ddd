#include "tests/live/LiveWorld.h"
#include "tests/river/FakeCouch.h"

namespace qx::test {
namespace {

using couch::CouchToEsRiverManager;

/// Numbers as people write them, which no JSON reader made of doubles would hand on. Node rounds them, so the database
/// is a stand-in; the index is real and is told not to look at them.
const vector<string> sNumbers = {
    "0",
    "-0",
    "-0.0",
    "0.10",
    "1e5",
    "1E+05",
    "2.50e-300",
    "1e-400",
    "1e400",
    "-1e400",
    "9007199254740993",
    "9223372036854775807",
    "-9223372036854775808",
    "9223372036854775808",
    "18446744073709551616",
    "-99999999999999999999999999999999",
    "3.14159265358979323846264338327950288",
    "0.1000000000000000055511151231257827",
};

class RiverNumbersTest : public LiveWorld {};

/// What the library writes: a literal of digits alone in the int64 range is a number to it, and the sign of its zero
/// goes; everything else keeps its spelling.
string Expected(const string& number) { return number == "-0" ? "0" : number; }

}  // namespace

TEST_F(RiverNumbersTest, NumbersOfEverySizeAndSpellingReachTheIndexAsTheyWere) {
  couch::test::FakeCouch couch;
  CouchToEsRiverManager::Parameters given = parameters();
  given.couch = couch.getServer();
  const string index = freshName("numbers");
  couch::IndexDefinition wanted = definition("numbers", index);
  wanted.mapping["dynamic"] = false;
  CouchToEsRiverManager river(given);
  river.addIndex(wanted);
  for (size_t i = 0; i < sNumbers.size(); ++i) {
    couch.put("numbers", "n" + std::to_string(i), ",\"n\":" + sNumbers[i] + ",\"list\":[" + sNumbers[i] + "]");
  }
  ASSERT_TRUE(waitFor([&] { return countIn(index) == sNumbers.size(); }));
  for (size_t i = 0; i < sNumbers.size(); ++i) {
    string source;
    request("GET", es().getUrl() + "/" + index + "/_doc/n" + std::to_string(i) + "/_source", "", &source);
    const string text = Expected(sNumbers[i]);
    EXPECT_NE(source.find("\"n\":" + text + "}"), string::npos) << sNumbers[i] << " became " << source;
    EXPECT_NE(source.find("\"list\":[" + text + "]"), string::npos) << sNumbers[i] << " became " << source;
  }
}

}  // namespace qx::test
