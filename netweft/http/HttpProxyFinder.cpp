#include "netweft/http/HttpProxyFinder.h"

#include "netweft/addressing/Url.h"
#include "netweft/base/system/SystemError.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/http/internal/ProxyDiscovery.h"

namespace qx::http {

namespace {

using impl::ProxyAccessType;
using impl::ProxyDiscovery;

constexpr uint32 kInvalidParameter = 87;
constexpr uint32 kAutodetectionFailed = 12180;

struct ErrorName {
  uint32 code;
  const char* name;
};
constexpr ErrorName kErrorNames[] = {
    {8, "ERROR_NOT_ENOUGH_MEMORY"},
    {12004, "ERROR_WINHTTP_INTERNAL_ERROR"},
    {12005, "ERROR_WINHTTP_INVALID_URL"},
    {12006, "ERROR_WINHTTP_UNRECOGNIZED_SCHEME"},
    {12015, "ERROR_WINHTTP_LOGIN_FAILURE"},
    {12017, "ERROR_WINHTTP_OPERATION_CANCELLED"},
    {12018, "ERROR_WINHTTP_INCORRECT_HANDLE_TYPE"},
    {12166, "ERROR_WINHTTP_BAD_AUTO_PROXY_SCRIPT"},
    {12167, "ERROR_WINHTTP_UNABLE_TO_DOWNLOAD_SCRIPT"},
    {12178, "ERROR_WINHTTP_AUTO_PROXY_SERVICE_ERROR"},
};

string GetErrorText(uint32 code) {
  for (const ErrorName& entry : kErrorNames) {
    if (entry.code == code) return entry.name;
  }
  return SystemError(static_cast<int>(code)).toString();
}

string GetFirstEntry(const string& proxies) { return proxies.substr(0, proxies.find_first_of("; ")); }

/// Windows before 8.1 knows no automatic proxy session and refuses the argument.
bool OpenSession(ProxyDiscovery& discovery) {
  if (discovery.isSessionOpen()) return true;
  constexpr const char* kUserAgent = "QxCore";
  if (discovery.openSession(kUserAgent, ProxyAccessType::AutomaticProxy)) return true;
  if (discovery.getLastError() == kInvalidParameter) {
    LogDetail("http") << "Win7/8 fall back, try WinHttpOpen with WINHTTP_ACCESS_TYPE_DEFAULT_PROXY";
    if (discovery.openSession(kUserAgent, ProxyAccessType::DefaultProxy)) return true;
  }
  LogDetail("http") << "Fail to create Win Http Session "
                    << SystemError(static_cast<int>(discovery.getLastError())).toString();
  return false;
}

void LogLookupFailure(uint32 code) {
  if (code == kAutodetectionFailed) return;  // the normal answer of a network without discovery
  LogDetail("http") << "Fail to retrieve proxy from url : " << GetErrorText(code);
}

}  // namespace

struct NETWEFT_HIDDEN HttpProxyFinder::HttpProxyFinderImpl {
  unique_ptr<ProxyDiscovery> discovery;
  impl::AutoProxyOptions autoProxyOptions;
  impl::ProxyInfo proxyInfo;

  /// The text comes from the look-up even where the default configuration is what names a proxy; if the look-up has
  /// none there is no answer.
  bool takeDefaultConfiguration(string& proxy) {
    impl::ProxyInfo configuration;
    if (!discovery->getDefaultConfiguration(configuration) || !configuration.proxies) return false;
    proxy = GetFirstEntry(proxyInfo.proxies.value_or(""));
    return !proxy.empty();
  }

  bool takeAnswer(string& proxy) {
    switch (proxyInfo.accessType) {
      case ProxyAccessType::NoProxy: return true;
      case ProxyAccessType::NamedProxy: proxy = GetFirstEntry(proxyInfo.proxies.value_or("")); return true;
      case ProxyAccessType::DefaultProxy: return takeDefaultConfiguration(proxy);
      case ProxyAccessType::AutomaticProxy: break;
    }
    LogDetail("http") << "Unexpected WinHttpGetProxyForUrl result";
    return false;
  }
};

HttpProxyFinder::HttpProxyFinder() : HttpProxyFinder(impl::CreateProxyDiscovery()) {}

HttpProxyFinder::HttpProxyFinder(unique_ptr<ProxyDiscovery> discovery)
    : mImpl(new HttpProxyFinderImpl{std::move(discovery), {}, {}}) {}

HttpProxyFinder::~HttpProxyFinder() = default;

bool HttpProxyFinder::getProxyUrl(const qx::Url& url, string& proxy) {
  proxy.clear();
  if (!OpenSession(*mImpl->discovery)) return false;
  mImpl->proxyInfo = {};
  if (!mImpl->discovery->getProxyForUrl(url.toEncodedUrl(), mImpl->autoProxyOptions, mImpl->proxyInfo)) {
    LogLookupFailure(mImpl->discovery->getLastError());
    return false;
  }
  return mImpl->takeAnswer(proxy);
}

}  // namespace qx::http
