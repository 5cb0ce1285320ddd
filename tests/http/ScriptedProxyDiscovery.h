#pragma once

#include "netweft/http/internal/ProxyDiscovery.h"

#include <deque>

namespace qx::test {

/// What the scripted discovery was asked, and what it answers. It outlives the finder, which owns only the discovery.
struct ProxyScript {
  struct OpenCall {
    string userAgent;
    http::impl::ProxyAccessType accessType;
  };
  struct LookUp {
    string url;
    http::impl::AutoProxyOptions options;
  };

  std::deque<uint32> openErrors;  ///< code of each coming `openSession`; 0, or none left, opens
  uint32 lookUpError = 0;         ///< 0: `answer` holds
  http::impl::ProxyInfo answer;
  uint32 configurationError = 0;  ///< 0: `configuration` holds
  http::impl::ProxyInfo configuration;

  vector<OpenCall> openCalls = {};
  vector<LookUp> lookUps = {};
  int configurationCalls = 0;
  int closedSessions = 0;
};

class ScriptedProxyDiscovery final : public http::impl::ProxyDiscovery {
 public:
  explicit ScriptedProxyDiscovery(ProxyScript& script) : mScript(script) {}
  ~ScriptedProxyDiscovery() override { mScript.closedSessions += mOpen ? 1 : 0; }

  bool isSessionOpen() const override { return mOpen; }

  bool openSession(const string& userAgent, http::impl::ProxyAccessType accessType) override {
    mScript.openCalls.push_back({userAgent, accessType});
    uint32 error = 0;
    if (!mScript.openErrors.empty()) {
      error = mScript.openErrors.front();
      mScript.openErrors.pop_front();
    }
    mOpen = keepError(error);
    return mOpen;
  }

  bool getProxyForUrl(const string& url, const http::impl::AutoProxyOptions& options,
                      http::impl::ProxyInfo& info) override {
    mScript.lookUps.push_back({url, options});
    info = mScript.answer;
    return keepError(mScript.lookUpError);
  }

  bool getDefaultConfiguration(http::impl::ProxyInfo& info) override {
    ++mScript.configurationCalls;
    info = mScript.configuration;
    return keepError(mScript.configurationError);
  }

  uint32 getLastError() const override { return mLastError; }

 private:
  bool keepError(uint32 error) {
    if (error != 0) mLastError = error;
    return error == 0;
  }

  ProxyScript& mScript;
  bool mOpen = false;
  uint32 mLastError = 0;
};

}  // namespace qx::test
