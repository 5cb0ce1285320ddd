#include "netweft/addressing/ResolveHostName.h"

#include "netweft/addressing/internal/Sockets.h"
#include "tests/addressing/WrappedResolver.h"
#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qx {
namespace {

using test::Detail;
using test::LogCapture;
using test::ScriptedResolver;
using testing::ElementsAre;

vector<string> GetTexts(const vector<IpAddress>& addresses) {
  vector<string> texts;
  for (const IpAddress& address : addresses) texts.push_back(address.getAddressAsString(true));
  return texts;
}

TEST(ResolveHostNameTest, AnEmptyNameEmptiesTheListWithoutALookUp) {
  const ScriptedResolver resolver(0, {"10.0.0.1"});
  vector<IpAddress> out{IpAddress("1.2.3.4", IpAddress::IPT_IPv4)};
  EXPECT_FALSE(ResolveHostName("", 80, out));
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(resolver.countLookUps(), 0);
}

TEST(ResolveHostNameTest, ANameWithANulInsideIsNotCutShort) {
  const ScriptedResolver resolver(0, {"10.0.0.1"});
  vector<IpAddress> out{IpAddress("1.2.3.4", IpAddress::IPT_IPv4)};
  EXPECT_FALSE(ResolveHostName(string("good.example\0.evil.example", 26), 80, out));
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(resolver.countLookUps(), 0);
}

TEST(ResolveHostNameTest, AsksForStreamSocketsOfAnyFamilyAndNoService) {
  const ScriptedResolver resolver(0, {"10.0.0.1"});
  vector<IpAddress> out;
  EXPECT_TRUE(ResolveHostName("host.example", 80, out));
  EXPECT_EQ(resolver.getHost(), "host.example");
  EXPECT_FALSE(resolver.hadService());
  EXPECT_EQ(resolver.getFlags(), 0);
  EXPECT_EQ(resolver.getFamily(), AF_UNSPEC);
  EXPECT_EQ(resolver.getSocketType(), SOCK_STREAM);
  EXPECT_EQ(resolver.getProtocol(), IPPROTO_TCP);
}

TEST(ResolveHostNameTest, KeepsTheResolversOrderAndGivesEachEntryThePort) {
  const ScriptedResolver resolver(0, {"10.0.0.2", "fe80::1", "10.0.0.1", "::1"});
  vector<IpAddress> out{IpAddress("1.2.3.4", IpAddress::IPT_IPv4)};
  EXPECT_TRUE(ResolveHostName("host.example", 8080, out));
  EXPECT_THAT(GetTexts(out), ElementsAre("10.0.0.2:8080", "fe80::1:8080", "10.0.0.1:8080", "::1:8080"));
}

TEST(ResolveHostNameTest, EntriesOfOtherFamiliesAreSkipped) {
  const ScriptedResolver resolver(0, {"other", "10.0.0.1", "other"});
  vector<IpAddress> out;
  EXPECT_TRUE(ResolveHostName("host.example", 1, out));
  EXPECT_THAT(GetTexts(out), ElementsAre("10.0.0.1:1"));
}

TEST(ResolveHostNameTest, OtherFamiliesAloneAreAFailureWithoutALogLine) {
  const ScriptedResolver resolver(0, {"other", "other"});
  const LogCapture log;
  vector<IpAddress> out;
  EXPECT_FALSE(ResolveHostName("host.example", 80, out));
  EXPECT_TRUE(out.empty());
  EXPECT_TRUE(log.getLines().empty());
}

TEST(ResolveHostNameTest, TheListIsFreed) {
  const ScriptedResolver resolver(0, {"10.0.0.1"});
  vector<IpAddress> out;
  ResolveHostName("host.example", 80, out);
  EXPECT_EQ(resolver.countFreed(), 1);
}

TEST(ResolveHostNameTest, AListThatComesWithAFailureIsFreedAndUnused) {
  const ScriptedResolver resolver(EAI_FAIL, {"10.0.0.1"});
  vector<IpAddress> out;
  EXPECT_FALSE(ResolveHostName("host.example", 80, out));
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(resolver.countFreed(), 1);
}

TEST(ResolveHostNameTest, AFailureIsLoggedWithTheWordForItsCode) {
  const vector<std::pair<int, string>> words{{EAI_AGAIN, " (EAI_AGAIN)"},     {EAI_BADFLAGS, " (EAI_BADFLAGS)"},
                                             {EAI_FAIL, " (EAI_FAIL)"},       {EAI_FAMILY, " (EAI_FAMILY)"},
                                             {EAI_MEMORY, " (EAI_MEMORY)"},   {EAI_NONAME, " (EAI_NONAME)"},
                                             {EAI_SERVICE, " (EAI_SERVICE)"}, {EAI_SOCKTYPE, " (EAI_SOCKTYPE)"}};
  for (const auto& [code, word] : words) {
    const ScriptedResolver resolver(code, {});
    const LogCapture log;
    vector<IpAddress> out{IpAddress("1.2.3.4", IpAddress::IPT_IPv4)};
    EXPECT_FALSE(ResolveHostName("host.example", 80, out));
    EXPECT_TRUE(out.empty());
    EXPECT_THAT(log.getLines(), ElementsAre(Detail("", "getaddrinfo return " + std::to_string(code) + word)));
  }
}

TEST(ResolveHostNameTest, AnotherFailureIsLoggedWithItsCodeAlone) {
  const ScriptedResolver resolver(EAI_SYSTEM, {});
  const LogCapture log;
  vector<IpAddress> out;
  EXPECT_FALSE(ResolveHostName("host.example", 80, out));
  EXPECT_THAT(log.getLines(), ElementsAre(Detail("", "getaddrinfo return " + std::to_string(EAI_SYSTEM))));
}

TEST(ResolveHostNameTest, AnAddressTextComesBackFromTheSystemItself) {
  vector<IpAddress> out;
  EXPECT_TRUE(ResolveHostName("127.0.0.1", 443, out));
  EXPECT_THAT(GetTexts(out), ElementsAre("127.0.0.1:443"));
}

}  // namespace
}  // namespace qx
