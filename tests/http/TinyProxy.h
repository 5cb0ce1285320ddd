#pragma once

#include "netweft/base/system/qxTypes.h"

#include <sys/types.h>

namespace qx::test {

/// A real HTTP proxy, Debian's tinyproxy, on loopback at a port of the system's choice. It carries plain requests, to
/// which it adds a Via header, and tunnels. It ends with this object, and with the test program if that dies.
class TinyProxy {
 public:
  static bool IsInstalled();

  /// With a user it demands these credentials. Throws std::runtime_error when it does not come up.
  explicit TinyProxy(const string& user = "", const string& password = "");
  TinyProxy(const TinyProxy&) = delete;
  TinyProxy& operator=(const TinyProxy&) = delete;
  ~TinyProxy();

  string getUrl() const { return "http://127.0.0.1:" + std::to_string(mPort); }

 private:
  bool start(const string& user, const string& password);
  void stop();

  string mConfigPath;
  string mLogPath;
  uint16 mPort = 0;
  pid_t mProcess = -1;
};

}  // namespace qx::test
