#include "netweft/http/internal/ProxyDiscovery.h"

#include <proxy.h>

#include <cerrno>
#include <new>

namespace qx::http::impl {

namespace {

struct FactoryDeleter {
  void operator()(pxProxyFactory* factory) const noexcept { px_proxy_factory_free(factory); }
};
struct AnswerDeleter {
  void operator()(char** proxies) const noexcept { px_proxy_factory_free_proxies(proxies); }
};

/// libproxy unloads its plugins with the last factory. The one that runs proxy scripts starts a JavaScript engine whose
/// threads go on for ever, and would then run into code that is gone: so one factory more is never freed.
void KeepPluginsLoaded() {
  static const pxProxyFactory* const keeper = px_proxy_factory_new();
  static_cast<void>(keeper);
}

/// libproxy reads the desktop's settings or the environment. Each session has a factory of its own: what a factory
/// holds is not safe to share everywhere.
class ProxyDiscoveryLibProxy final : public ProxyDiscovery {
 public:
  bool isSessionOpen() const override { return mFactory != nullptr; }

  bool openSession(const string&, ProxyAccessType) override {
    KeepPluginsLoaded();
    mFactory.reset(px_proxy_factory_new());
    mLastError = ENOMEM;
    return mFactory != nullptr;
  }

  bool getProxyForUrl(const string& url, const AutoProxyOptions&, ProxyInfo& info) override {
    const std::unique_ptr<char*, AnswerDeleter> answer(px_proxy_factory_get_proxies(mFactory.get(), url.c_str()));
    mLastError = EIO;
    if (answer == nullptr) return false;
    takeAnswer(answer.get(), info);
    return true;
  }

  /// libproxy folds the defaults into each answer.
  bool getDefaultConfiguration(ProxyInfo&) override {
    mLastError = ENOTSUP;
    return false;
  }

  uint32 getLastError() const override { return static_cast<uint32>(mLastError); }

 private:
  /// The entries stand in order of preference, and "direct://" among them ends what a proxy is asked for.
  static void takeAnswer(const char* const* entry, ProxyInfo& info) {
    string proxies;
    for (; *entry != nullptr && string("direct://") != *entry; ++entry) {
      if (!proxies.empty()) proxies += ';';
      proxies += *entry;
    }
    info.accessType = proxies.empty() ? ProxyAccessType::NoProxy : ProxyAccessType::NamedProxy;
    if (!proxies.empty()) info.proxies = std::move(proxies);
  }

  std::unique_ptr<pxProxyFactory, FactoryDeleter> mFactory;
  int mLastError = 0;
};

}  // namespace

unique_ptr<ProxyDiscovery> CreateProxyDiscovery() { return std::make_unique<ProxyDiscoveryLibProxy>(); }

}  // namespace qx::http::impl
