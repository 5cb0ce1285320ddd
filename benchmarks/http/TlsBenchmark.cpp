// A verified TLS connection made anew for each request: the library's, which parses the system's trusted certificates
// once per process, beside libcurl's defaults, which parse them for each connection.
#include "netweft/base/crypto/internal/CertStore.h"
#include "netweft/frame/Netweft.h"
#include "netweft/http/HttpHelpers.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/TestCertificates.h"

#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <cstdio>
#include <fstream>

namespace qx::bench {

namespace {

/// The system's bundle with the authority of the test server behind it.
class Bundle {
 public:
  Bundle() : mPath(std::tmpnam(nullptr)) {
    std::ofstream out(mPath);
    out << std::ifstream("/etc/ssl/certs/ca-certificates.crt").rdbuf()
        << test::TestCertificates::GetShared().getAuthorityPem();
  }
  Bundle(const Bundle&) = delete;
  Bundle& operator=(const Bundle&) = delete;
  ~Bundle() { std::remove(mPath.c_str()); }

  const char* getPath() const { return mPath.c_str(); }

 private:
  const string mPath;
};

test::ScriptedServerOptions WithTls() { return {.tls = test::TestCertificates::GetShared().createGood()}; }

test::Reply Answer(const test::Request&) { return test::Reply::Http(200, "twelve bytes"); }

size_t Ignore(char*, size_t size, size_t count, void*) { return size * count; }

void TlsBare(benchmark::State& state) {
  const Bundle bundle;
  const test::ScriptedServer server(Answer, WithTls());
  const string url = server.getUrl();
  for (auto _ : state) {
    CURL* const handle = curl_easy_init();
    curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle, CURLOPT_PROXY, "");
    curl_easy_setopt(handle, CURLOPT_CAINFO, bundle.getPath());
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, Ignore);
    if (curl_easy_perform(handle) != CURLE_OK) state.SkipWithError("a request has failed");
    curl_easy_cleanup(handle);
  }
}

void Tls(benchmark::State& state) {
  const test::ScriptedServer server(Answer, WithTls());
  const Url url(server.getUrl());
  impl::AddTrustedAuthority(test::TestCertificates::GetShared().getAuthorityPem());
  for (auto _ : state) {
    http::HttpConnection connection(false);
    if (!http::HttpHelpers::HttpGet(connection, url)) state.SkipWithError("a request has failed");
  }
}

BENCHMARK(TlsBare)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(Tls)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace

}  // namespace qx::bench
