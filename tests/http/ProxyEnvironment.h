#pragma once

#include "netweft/base/system/qxTypes.h"

#include <cstdlib>
#include <optional>

namespace qx::test {

/// The variables that name proxies, unset while this lives except for those that the test sets. Not while another
/// thread reads the environment.
class ProxyEnvironment {
 public:
  ProxyEnvironment() {
    for (const char* name : {"http_proxy", "https_proxy", "ftp_proxy", "all_proxy", "no_proxy", "HTTP_PROXY",
                             "HTTPS_PROXY", "FTP_PROXY", "ALL_PROXY", "NO_PROXY"}) {
      const char* value = std::getenv(name);
      mBefore.emplace_back(name, value == nullptr ? std::optional<string>() : value);
      ::unsetenv(name);
    }
  }
  ProxyEnvironment(const ProxyEnvironment&) = delete;
  ProxyEnvironment& operator=(const ProxyEnvironment&) = delete;
  ~ProxyEnvironment() {
    for (const auto& [name, value] : mBefore) {
      if (value) {
        set(name, *value);
      } else {
        ::unsetenv(name.c_str());
      }
    }
  }

  void set(const string& name, const string& value) { ::setenv(name.c_str(), value.c_str(), 1); }

 private:
  vector<pair<string, std::optional<string>>> mBefore;
};

}  // namespace qx::test
