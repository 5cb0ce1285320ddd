#include "tests/support/TestCertificates.h"

#include "tests/support/ScriptedServer.h"

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>

namespace qx::test {

namespace {

size_t Discard(char*, size_t size, size_t count, void*) { return size * count; }

/// Asks the server over TLS, trusting the shared authority alone.
CURLcode Ask(const ScriptedServer& server) {
  const unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle(curl_easy_init(), &curl_easy_cleanup);
  const string& authority = TestCertificates::GetShared().getAuthorityPem();
  curl_blob blob{const_cast<char*>(authority.data()), authority.size(), CURL_BLOB_COPY};
  curl_easy_setopt(handle.get(), CURLOPT_CAINFO_BLOB, &blob);
  curl_easy_setopt(handle.get(), CURLOPT_PROXY, "");
  curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, &Discard);
  curl_easy_setopt(handle.get(), CURLOPT_URL, server.getUrl().c_str());
  return curl_easy_perform(handle.get());
}

CURLcode AskOneWith(const TlsIdentity& identity) {
  ScriptedServer server([](const Request&) { return Reply::Http(200, "hello"); }, {.tls = identity});
  return Ask(server);
}

}  // namespace

TEST(TestCertificatesTest, TheGoodOneIsTrusted) {
  EXPECT_EQ(AskOneWith(TestCertificates::GetShared().createGood()), CURLE_OK);
}

TEST(TestCertificatesTest, TheBadOnesAreRefused) {
  const TestCertificates& certificates = TestCertificates::GetShared();
  EXPECT_EQ(AskOneWith(certificates.createForOtherHost()), CURLE_PEER_FAILED_VERIFICATION);
  EXPECT_EQ(AskOneWith(certificates.createExpired()), CURLE_PEER_FAILED_VERIFICATION);
  EXPECT_EQ(AskOneWith(TestCertificates::CreateSelfSigned()), CURLE_PEER_FAILED_VERIFICATION);
  EXPECT_EQ(AskOneWith(TestCertificates::CreateFromUnknownIssuer()), CURLE_PEER_FAILED_VERIFICATION);
}

TEST(TestCertificatesTest, AnOldTlsServerIsRefused) {
  ScriptedServer server({.tls = TestCertificates::GetShared().createGood(), .isTls11 = true});
  EXPECT_EQ(Ask(server), CURLE_SSL_CONNECT_ERROR);
  ASSERT_TRUE(server.waitForClosedConnections(1));
  EXPECT_EQ(server.getFailedHandshakes(), 1U);
}

TEST(TestCertificatesTest, AClosedTlsReplyEndsWithoutAnError) {
  ScriptedServer server({.tls = TestCertificates::GetShared().createGood()});
  server.queue(Reply::Raw("HTTP/1.1 200 OK\r\n\r\nuntil the end").close());
  EXPECT_EQ(Ask(server), CURLE_OK);
}

TEST(TestCertificatesTest, TheAuthorityCanBeWritten) {
  const string path = testing::TempDir() + "netweft-test-authority.pem";
  ASSERT_TRUE(TestCertificates::GetShared().writeAuthority(path));
  std::ostringstream read;
  read << std::ifstream(path).rdbuf();
  EXPECT_EQ(read.str(), TestCertificates::GetShared().getAuthorityPem());
  std::remove(path.c_str());
  EXPECT_FALSE(TestCertificates::GetShared().writeAuthority("/dev/null/nowhere"));
}

}  // namespace qx::test
