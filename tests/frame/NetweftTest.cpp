#include "netweft/frame/Netweft.h"

#include "netweft/base/system/ThirdPartyLibVersionInfo.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/frame/internal/FrameState.h"
#include "tests/frame/WrappedCurl.h"
#include "tests/support/LogCapture.h"

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

namespace qx {
namespace {

using namespace http;
using test::FakeCurlVersion;

constexpr const char* kUnknownOpenSsl = "libcurl/8.0.0 OpenSSL/9.9.9 zlib/1.2.13";
constexpr const char* kOtherBackEnd = "libcurl/8.0.0 GnuTLS/3.7.9 zlib/1.2.13";

void Initialize() { initializeNetweft(true, HNRP_Whatever, PP_NoProxy); }

/// True when it threw; a matching `terminateNetweft` stays the caller's.
bool InitializeThrows() {
  testing::internal::CaptureStderr();
  bool threw = false;
  try {
    Initialize();
  } catch (const std::runtime_error&) {
    threw = true;
  }
  testing::internal::GetCapturedStderr();
  return threw;
}

bool HasDefaultsOfProcessStart() {
  return IsVerifySSLCertByDefault() && GetDefaultHostNameResolutionPolicy() == HNRP_Whatever &&
         GetDefaultProxyPolicy() == PP_NoProxy && !IsNetweftInitialized() && impl::GetPoolUpdater() == nullptr &&
         impl::GetCurlOpenSslVersion() == qxOpenSSL::OV_Unknown;
}

/// In a process of its own: all others have started the library before.
TEST(NetweftAtProcessStartTest, DefaultsStandBeforeTheFirstStart) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(std::exit(HasDefaultsOfProcessStart() ? 0 : 1), testing::ExitedWithCode(0), "");
}

class NetweftTest : public testing::Test {
 protected:
  /// The generation that an earlier start found would stay: each test begins without one.
  void SetUp() override {
    const FakeCurlVersion unknown(kUnknownOpenSsl);
    ASSERT_TRUE(InitializeThrows());
    terminateNetweft();
    ASSERT_EQ(impl::GetCurlOpenSslVersion(), qxOpenSSL::OV_Unknown);
    SetDefaultProxyPolicy(PP_NoProxy);
  }

  void TearDown() override {
    while (IsNetweftInitialized()) terminateNetweft();
    SetVerifySSLCertByDefault(true);
    SetDefaultHostNameResolutionPolicy(HNRP_Whatever);
  }
};

TEST_F(NetweftTest, CountsAsInitializedBetweenStartAndStop) {
  EXPECT_FALSE(IsNetweftInitialized());
  Initialize();
  EXPECT_TRUE(IsNetweftInitialized());
  terminateNetweft();
  EXPECT_FALSE(IsNetweftInitialized());
}

TEST_F(NetweftTest, StoresItsArgumentsAsDefaults) {
  initializeNetweft(false, HNRP_PreferIpv6, PP_AutomaticProxy);
  EXPECT_FALSE(IsVerifySSLCertByDefault());
  EXPECT_EQ(GetDefaultHostNameResolutionPolicy(), HNRP_PreferIpv6);
  EXPECT_EQ(GetDefaultProxyPolicy(), PP_AutomaticProxy);
}

TEST_F(NetweftTest, ArgumentsOverwriteWhatWasSetBefore) {
  SetVerifySSLCertByDefault(false);
  SetDefaultHostNameResolutionPolicy(HNRP_PreferIpv4);
  SetDefaultProxyPolicy(PP_AutomaticProxy);
  Initialize();
  EXPECT_TRUE(IsVerifySSLCertByDefault());
  EXPECT_EQ(GetDefaultHostNameResolutionPolicy(), HNRP_Whatever);
  EXPECT_EQ(GetDefaultProxyPolicy(), PP_NoProxy);
}

TEST_F(NetweftTest, ANestedStartChangesNothing) {
  initializeNetweft(false, HNRP_PreferIpv4, PP_AutomaticProxy);
  const qxThreadPeriodicalUpdater* updater = impl::GetPoolUpdater();
  const int starts = test::CountCurlStarts();
  initializeNetweft(true, HNRP_PreferIpv6, PP_NoProxy);
  EXPECT_FALSE(IsVerifySSLCertByDefault());
  EXPECT_EQ(GetDefaultHostNameResolutionPolicy(), HNRP_PreferIpv4);
  EXPECT_EQ(GetDefaultProxyPolicy(), PP_AutomaticProxy);
  EXPECT_EQ(impl::GetPoolUpdater(), updater);
  EXPECT_EQ(test::CountCurlStarts(), starts);
}

TEST_F(NetweftTest, OneStopOfTwoStartsLeavesTheLibraryInitialized) {
  initializeNetweft(false, HNRP_PreferIpv4, PP_NoProxy);
  initializeNetweft(true, HNRP_PreferIpv6, PP_NoProxy);
  const int ends = test::CountCurlEnds();
  terminateNetweft();
  EXPECT_TRUE(IsNetweftInitialized());
  EXPECT_FALSE(IsVerifySSLCertByDefault());
  EXPECT_EQ(GetDefaultHostNameResolutionPolicy(), HNRP_PreferIpv4);
  EXPECT_NE(impl::GetPoolUpdater(), nullptr);
  EXPECT_EQ(test::CountCurlEnds(), ends);
}

TEST_F(NetweftTest, PairsNestToAnyDepth) {
  for (int i = 0; i < 100; ++i) Initialize();
  for (int i = 0; i < 99; ++i) terminateNetweft();
  EXPECT_TRUE(IsNetweftInitialized());
  terminateNetweft();
  EXPECT_FALSE(IsNetweftInitialized());
}

TEST_F(NetweftTest, AStopTooManyDoesNothing) {
  Initialize();
  terminateNetweft();
  const int ends = test::CountCurlEnds();
  terminateNetweft();
  EXPECT_EQ(test::CountCurlEnds(), ends);
  Initialize();
  EXPECT_TRUE(IsNetweftInitialized());
}

TEST_F(NetweftTest, StartsAgainAfterAFullStop) {
  Initialize();
  terminateNetweft();
  initializeNetweft(false, HNRP_PreferIpv6, PP_AutomaticProxy);
  EXPECT_TRUE(IsNetweftInitialized());
  EXPECT_FALSE(IsVerifySSLCertByDefault());
  EXPECT_EQ(impl::GetCurlOpenSslVersion(), qxOpenSSL::OV_3);
  EXPECT_NE(impl::GetPoolUpdater(), nullptr);
}

TEST_F(NetweftTest, StopResetsTheFirstTwoDefaultsAndLeavesTheProxyPolicy) {
  initializeNetweft(false, HNRP_PreferIpv6, PP_NoProxy);
  SetDefaultProxyPolicy(PP_AutomaticProxy);
  terminateNetweft();
  EXPECT_TRUE(IsVerifySSLCertByDefault());
  EXPECT_EQ(GetDefaultHostNameResolutionPolicy(), HNRP_Whatever);
  EXPECT_EQ(GetDefaultProxyPolicy(), PP_AutomaticProxy);
}

TEST_F(NetweftTest, CurlStartsWithEverythingAndEndsOnce) {
  const int starts = test::CountCurlStarts();
  const int ends = test::CountCurlEnds();
  Initialize();
  EXPECT_EQ(test::CountCurlStarts(), starts + 1);
  EXPECT_EQ(test::GetLastCurlStartFlags(), 3);
  terminateNetweft();
  EXPECT_EQ(test::CountCurlEnds(), ends + 1);
}

TEST_F(NetweftTest, RegistersTheVersionOfCurlWhileItRuns) {
  Initialize();
  EXPECT_EQ(impl::GetThirdPartyLibVersionInfo()["libcurl"], curl_version());
  terminateNetweft();
  EXPECT_EQ(impl::GetThirdPartyLibVersionInfo().count("libcurl"), 0U);
}

TEST_F(NetweftTest, AVersionTextInCapitalsIsMatched) {
  const FakeCurlVersion version("libcurl/8.1.2 OpenSSL/3.1.1 zlib/1.2.13");
  Initialize();
  EXPECT_EQ(impl::GetCurlOpenSslVersion(), qxOpenSSL::OV_3);
}

TEST_F(NetweftTest, ALowerCaseVersionTextIsMatched) {
  const FakeCurlVersion version("libcurl/8.1.2 openssl/3.1.1");
  Initialize();
  EXPECT_EQ(impl::GetCurlOpenSslVersion(), qxOpenSSL::OV_3);
}

TEST_F(NetweftTest, WhiteSpaceAroundAPieceIsIgnored) {
  const FakeCurlVersion version("libcurl/8.1.2  \tOpenSSL/1.1.1w\t  zlib/1.2.13");
  Initialize();
  EXPECT_EQ(impl::GetCurlOpenSslVersion(), qxOpenSSL::OV_1_1);
}

TEST_F(NetweftTest, TheFirstOpenSslPieceDecides) {
  const FakeCurlVersion version("libcurl/8.1.2 OpenSSL/1.1.1w OpenSSL/3.0.0");
  Initialize();
  EXPECT_EQ(impl::GetCurlOpenSslVersion(), qxOpenSSL::OV_1_1);
}

TEST_F(NetweftTest, APieceThatOnlyContainsThePrefixIsNoMatch) {
  const FakeCurlVersion version("libcurl/8.1.2 (OpenSSL/3.0.0) NotOpenSSL/3.0.0");
  EXPECT_TRUE(InitializeThrows());
}

TEST_F(NetweftTest, AnotherTlsBackEndThrows) {
  const FakeCurlVersion version(kOtherBackEnd);
  EXPECT_TRUE(InitializeThrows());
}

TEST_F(NetweftTest, AnUnknownOpenSslThrows) {
  const FakeCurlVersion version(kUnknownOpenSsl);
  EXPECT_TRUE(InitializeThrows());
}

TEST_F(NetweftTest, NoVersionTextAtAllThrows) {
  const FakeCurlVersion version(nullptr);
  EXPECT_TRUE(InitializeThrows());
}

TEST_F(NetweftTest, TheExceptionSaysWhatIsWrong) {
  const FakeCurlVersion version(kOtherBackEnd);
  testing::internal::CaptureStderr();
  try {
    Initialize();
    ADD_FAILURE() << "nothing was thrown";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "qxNetweft : ssl versionning error");
  }
  testing::internal::GetCapturedStderr();
}

TEST_F(NetweftTest, AThrowingStartWritesOneLineWithItsModulePastTheLog) {
  const FakeCurlVersion version(kOtherBackEnd);
  const test::LogCapture log;
  testing::internal::CaptureStderr();
  EXPECT_THROW(Initialize(), std::runtime_error);
  const string written = testing::internal::GetCapturedStderr();
  EXPECT_NE(written.find("Cannot get curl openssl version (unknown version)"), string::npos) << written;
  EXPECT_NE(written.find("qxNetweft"), string::npos) << written;
  EXPECT_EQ(std::count(written.begin(), written.end(), '\n'), 1) << written;
  EXPECT_TRUE(log.getLines().empty());
}

TEST_F(NetweftTest, AThrowingStartRollsNothingBack) {
  const FakeCurlVersion version(kOtherBackEnd);
  ASSERT_TRUE(InitializeThrows());
  EXPECT_TRUE(IsNetweftInitialized());
  EXPECT_NE(impl::GetPoolUpdater(), nullptr);
  EXPECT_EQ(impl::GetThirdPartyLibVersionInfo().count("libcurl"), 0U);
}

TEST_F(NetweftTest, StopUndoesAThrowingStart) {
  const int ends = test::CountCurlEnds();
  {
    const FakeCurlVersion version(kOtherBackEnd);
    ASSERT_TRUE(InitializeThrows());
  }
  terminateNetweft();
  EXPECT_FALSE(IsNetweftInitialized());
  EXPECT_EQ(impl::GetPoolUpdater(), nullptr);
  EXPECT_EQ(test::CountCurlEnds(), ends + 1);
}

TEST_F(NetweftTest, StartsAgainAfterAThrowingStart) {
  {
    const FakeCurlVersion version(kOtherBackEnd);
    ASSERT_TRUE(InitializeThrows());
    terminateNetweft();
  }
  EXPECT_NO_THROW(Initialize());
  EXPECT_EQ(impl::GetCurlOpenSslVersion(), qxOpenSSL::OV_3);
  EXPECT_EQ(impl::GetThirdPartyLibVersionInfo()["libcurl"], curl_version());
}

TEST_F(NetweftTest, AGenerationThatWasFoundOnceStaysWhenALaterStartFindsNone) {
  Initialize();
  terminateNetweft();
  EXPECT_EQ(impl::GetCurlOpenSslVersion(), qxOpenSSL::OV_3);
  const FakeCurlVersion version(kOtherBackEnd);
  EXPECT_NO_THROW(Initialize());
  EXPECT_EQ(impl::GetCurlOpenSslVersion(), qxOpenSSL::OV_3);
}

TEST_F(NetweftTest, AManualProxyIsNoDefault) {
  SetDefaultProxyPolicy(PP_AutomaticProxy);
  SetDefaultProxyPolicy(PP_ManualProxy);
  EXPECT_EQ(GetDefaultProxyPolicy(), PP_NoProxy);
  initializeNetweft(true, HNRP_Whatever, PP_ManualProxy);
  EXPECT_EQ(GetDefaultProxyPolicy(), PP_NoProxy);
}

TEST_F(NetweftTest, TheProxySetterKeepsOneAndTwoAlone) {
  for (int value = -2; value < 6; ++value) {
    SetDefaultProxyPolicy(value == 2 ? PP_NoProxy : PP_AutomaticProxy);
    SetDefaultProxyPolicy(static_cast<ProxyPolicy>(value));
    EXPECT_EQ(GetDefaultProxyPolicy(), value == 2 ? PP_AutomaticProxy : PP_NoProxy) << value;
  }
}

TEST_F(NetweftTest, TheResolutionSetterTurnsWhatIsNoPolicyIntoWhatever) {
  for (const int value : {0, -1, 4, 1000, 1 << 30}) {
    SetDefaultHostNameResolutionPolicy(HNRP_PreferIpv6);
    SetDefaultHostNameResolutionPolicy(static_cast<HostNameResolutionPolicy>(value));
    EXPECT_EQ(GetDefaultHostNameResolutionPolicy(), HNRP_Whatever) << value;
  }
}

TEST_F(NetweftTest, TheResolutionSetterKeepsTheThreePolicies) {
  for (const auto policy : {HNRP_PreferIpv4, HNRP_PreferIpv6, HNRP_Whatever}) {
    SetDefaultHostNameResolutionPolicy(policy);
    EXPECT_EQ(GetDefaultHostNameResolutionPolicy(), policy);
  }
}

TEST_F(NetweftTest, StartAppliesTheSettersRulesToItsArguments) {
  initializeNetweft(true, HNRP_Default, static_cast<ProxyPolicy>(7));
  EXPECT_EQ(GetDefaultHostNameResolutionPolicy(), HNRP_Whatever);
  EXPECT_EQ(GetDefaultProxyPolicy(), PP_NoProxy);
}

TEST_F(NetweftTest, TheVerificationDefaultIsKeptAsGiven) {
  SetVerifySSLCertByDefault(false);
  EXPECT_FALSE(IsVerifySSLCertByDefault());
  SetVerifySSLCertByDefault(true);
  EXPECT_TRUE(IsVerifySSLCertByDefault());
}

}  // namespace
}  // namespace qx
