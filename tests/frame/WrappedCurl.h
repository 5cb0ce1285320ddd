#pragma once

/// The three libcurl functions that the frame calls, replaced at link time.
namespace qx::test {

/// While it lives, `curl_version` gives this text, which may be null.
class FakeCurlVersion {
 public:
  explicit FakeCurlVersion(const char* text);
  FakeCurlVersion(const FakeCurlVersion&) = delete;
  FakeCurlVersion& operator=(const FakeCurlVersion&) = delete;
  ~FakeCurlVersion();
};

/// The real functions run; the calls so far are counted.
int CountCurlStarts();
int CountCurlEnds();
long GetLastCurlStartFlags();

}  // namespace qx::test
