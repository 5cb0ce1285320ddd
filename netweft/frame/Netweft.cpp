#include "netweft/frame/Netweft.h"

#include "netweft/base/compress/qxCompress.h"
#include "netweft/base/system/LibInitCounter.h"
#include "netweft/base/system/ThirdPartyLibVersionInfo.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxStringUtils.h"
#include "netweft/base/system/qxThreadPeriodicalUpdater.h"
#include "netweft/frame/internal/FrameState.h"

#include <curl/curl.h>

#include <atomic>
#include <stdexcept>

namespace qx {

namespace {

constexpr unsigned int kPoolUpdaterPeriodSec = 2;

/// Connections read these on any thread while a host may be setting them.
struct Defaults {
  std::atomic<bool> verifySslCert{true};
  std::atomic<http::HostNameResolutionPolicy> hostNameResolution{http::HNRP_Whatever};
  std::atomic<http::ProxyPolicy> proxy{http::PP_NoProxy};
};

Defaults defaults;
unique_ptr<qxThreadPeriodicalUpdater> poolUpdater;
std::atomic<qxOpenSSL::qxOpenSSLVersion> curlOpenSslVersion{qxOpenSSL::OV_Unknown};
impl::LibInitCounter initCounter("netweft", true);

/// The version behind "OpenSSL/" in libcurl's own version text; false when there is no such piece.
bool FindOpenSslVersionText(const char* curlVersion, string& version) {
  static const string prefix = "openssl/";
  if (curlVersion == nullptr) return false;
  string text = curlVersion;
  qxStringUtils::toLower(text);
  for (string& piece : qxStringUtils::Split(text, ' ', true)) {
    qxStringUtils::trim(piece);
    if (!qxStringUtils::StartsWith(piece, prefix)) continue;
    version = piece.substr(prefix.size());
    return true;
  }
  return false;
}

/// A version that was found once stays when a later start finds none.
void FindCurlOpenSslVersion() {
  string version;
  if (FindOpenSslVersionText(curl_version(), version)) {
    curlOpenSslVersion = qxOpenSSL::ParseOpenSSLVersionString(version);
  }
  if (curlOpenSslVersion != qxOpenSSL::OV_Unknown) return;
  qxLogObject(LT_Error, nullptr, nullptr, "qxNetweft") << "Cannot get curl openssl version (unknown version)";
  throw std::runtime_error("qxNetweft : ssl versionning error");
}

}  // namespace

void initializeNetweft(bool verifySslCertByDefault, http::HostNameResolutionPolicy hostNameResolution,
                       http::ProxyPolicy proxy) {
  if (!initCounter.incrementInitCounter()) return;
  initializeCompress();
  qxOpenSSL::initializeLibrary(true);
  SetVerifySSLCertByDefault(verifySslCertByDefault);
  SetDefaultHostNameResolutionPolicy(hostNameResolution);
  SetDefaultProxyPolicy(proxy);
  static_cast<void>(curl_global_init(CURL_GLOBAL_ALL));
  poolUpdater = std::make_unique<qxThreadPeriodicalUpdater>(kPoolUpdaterPeriodSec);
  FindCurlOpenSslVersion();
  impl::RegisterThirdPartyLibVersionInfo("libcurl", curl_version());
}

void terminateNetweft() {
  if (!initCounter.decrementInitCounter()) return;
  impl::UnRegisterThirdPartyLibVersionInfo("libcurl");
  SetVerifySSLCertByDefault(true);
  SetDefaultHostNameResolutionPolicy(http::HNRP_Whatever);
  poolUpdater.reset();
  curl_global_cleanup();
  terminateCompress();
  qxOpenSSL::finalizeLibrary();
}

bool IsNetweftInitialized() { return initCounter.isInitialized(); }

bool IsVerifySSLCertByDefault() { return defaults.verifySslCert; }

void SetVerifySSLCertByDefault(bool verify) { defaults.verifySslCert = verify; }

http::HostNameResolutionPolicy GetDefaultHostNameResolutionPolicy() { return defaults.hostNameResolution; }

void SetDefaultHostNameResolutionPolicy(http::HostNameResolutionPolicy policy) {
  switch (policy) {
    case http::HNRP_Whatever:
    case http::HNRP_PreferIpv6:
    case http::HNRP_PreferIpv4: defaults.hostNameResolution = policy; break;
    default: defaults.hostNameResolution = http::HNRP_Whatever; break;
  }
}

http::ProxyPolicy GetDefaultProxyPolicy() { return defaults.proxy; }

void SetDefaultProxyPolicy(http::ProxyPolicy policy) {
  switch (policy) {
    case http::PP_NoProxy:
    case http::PP_AutomaticProxy: defaults.proxy = policy; break;
    default: defaults.proxy = http::PP_NoProxy; break;
  }
}

namespace impl {

qxOpenSSL::qxOpenSSLVersion GetCurlOpenSslVersion() noexcept { return curlOpenSslVersion; }

qxThreadPeriodicalUpdater* GetPoolUpdater() noexcept { return poolUpdater.get(); }

}  // namespace impl

}  // namespace qx
