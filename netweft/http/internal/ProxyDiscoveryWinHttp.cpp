#include "netweft/base/system/qxStringUtils.h"
#include "netweft/http/internal/ProxyDiscovery.h"

#define WIN32_LEAN_AND_MEAN
#include <windows.h>
// After windows.h, whose types it uses.
#include <winhttp.h>

namespace qx::http::impl {

namespace {

struct SessionCloser {
  using pointer = HINTERNET;
  void operator()(HINTERNET session) const noexcept { WinHttpCloseHandle(session); }
};

struct GlobalMemory {
  using pointer = LPWSTR;
  void operator()(LPWSTR text) const noexcept { GlobalFree(text); }
};
using GlobalText = std::unique_ptr<wchar_t, GlobalMemory>;

/// Frees both texts of the platform's record.
void TakeInfo(const WINHTTP_PROXY_INFO& source, ProxyInfo& info) {
  const GlobalText proxies(source.lpszProxy);
  const GlobalText bypass(source.lpszProxyBypass);
  info.accessType = static_cast<ProxyAccessType>(source.dwAccessType);
  info.proxies.reset();
  if (proxies != nullptr) info.proxies = qxStringUtils::convertTo8Bits(proxies.get(), qxStringUtils::CS_Utf8);
}

class ProxyDiscoveryWinHttp final : public ProxyDiscovery {
 public:
  bool isSessionOpen() const override { return mSession != nullptr; }

  bool openSession(const string& userAgent, ProxyAccessType accessType) override {
    const std::wstring wideAgent = qxStringUtils::convertToUnicode(userAgent, qxStringUtils::CS_Utf8);
    mSession.reset(WinHttpOpen(wideAgent.c_str(), static_cast<DWORD>(accessType), WINHTTP_NO_PROXY_NAME,
                               WINHTTP_NO_PROXY_BYPASS, 0));
    return keepError(mSession != nullptr);
  }

  bool getProxyForUrl(const string& url, const AutoProxyOptions& options, ProxyInfo& info) override {
    const std::wstring wideUrl = qxStringUtils::convertToUnicode(url, qxStringUtils::CS_Utf8);
    WINHTTP_AUTOPROXY_OPTIONS winOptions{};
    winOptions.dwFlags = options.flags;
    winOptions.dwAutoDetectFlags = options.autoDetectFlags;
    winOptions.fAutoLogonIfChallenged = options.autoLogonIfChallenged;
    WINHTTP_PROXY_INFO winInfo{};
    if (!keepError(WinHttpGetProxyForUrl(mSession.get(), wideUrl.c_str(), &winOptions, &winInfo))) return false;
    TakeInfo(winInfo, info);
    return true;
  }

  bool getDefaultConfiguration(ProxyInfo& info) override {
    WINHTTP_PROXY_INFO winInfo{};
    if (!keepError(WinHttpGetDefaultProxyConfiguration(&winInfo))) return false;
    TakeInfo(winInfo, info);
    return true;
  }

  uint32 getLastError() const override { return static_cast<uint32>(mLastError); }

 private:
  /// At once, before another call of the system overwrites it.
  bool keepError(bool succeeded) {
    if (!succeeded) mLastError = GetLastError();
    return succeeded;
  }

  std::unique_ptr<HINTERNET, SessionCloser> mSession;
  DWORD mLastError = 0;
};

}  // namespace

unique_ptr<ProxyDiscovery> CreateProxyDiscovery() { return std::make_unique<ProxyDiscoveryWinHttp>(); }

}  // namespace qx::http::impl
