#include "netweft/base/crypto/internal/CertStore.h"

#include "netweft/base/crypto/internal/OpenSslHandles.h"
#include "tests/support/TestCertificates.h"

#include <gtest/gtest.h>
#include <openssl/pem.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

namespace qx {
namespace {

using impl::AddTrustedAuthority;
using impl::BioPtr;
using impl::InstallCertStore;
using impl::X509Ptr;
using test::TestCertificates;
using test::TlsIdentity;

template <auto Free>
using Handle = impl::OpenSslDeleter<Free>;
using ContextPtr = std::unique_ptr<SSL_CTX, Handle<SSL_CTX_free>>;
using SslPtr = std::unique_ptr<SSL, Handle<SSL_free>>;
using KeyPtr = impl::EvpPkeyPtr;

ContextPtr MakeClient() {
  ContextPtr context(SSL_CTX_new(TLS_client_method()));
  SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, nullptr);
  return context;
}

ContextPtr MakeServer(const TlsIdentity& identity) {
  ContextPtr context(SSL_CTX_new(TLS_server_method()));
  const string& chain = identity.certificateChainPem;
  const BioPtr chainText(BIO_new_mem_buf(chain.data(), static_cast<int>(chain.size())));
  const BioPtr keyText(BIO_new_mem_buf(identity.keyPem.data(), static_cast<int>(identity.keyPem.size())));
  const X509Ptr certificate(PEM_read_bio_X509(chainText.get(), nullptr, nullptr, nullptr));
  const KeyPtr key(PEM_read_bio_PrivateKey(keyText.get(), nullptr, nullptr, nullptr));
  SSL_CTX_use_certificate(context.get(), certificate.get());
  SSL_CTX_use_PrivateKey(context.get(), key.get());
  return context;
}

/// The client's verdict on the server's certificate, after a handshake in memory.
long Handshake(SSL_CTX* clientContext, const TlsIdentity& identity) {
  const ContextPtr serverContext = MakeServer(identity);
  const SslPtr client(SSL_new(clientContext));
  const SslPtr server(SSL_new(serverContext.get()));
  BIO* clientEnd = nullptr;
  BIO* serverEnd = nullptr;
  BIO_new_bio_pair(&clientEnd, 0, &serverEnd, 0);
  SSL_set_bio(client.get(), clientEnd, clientEnd);
  SSL_set_bio(server.get(), serverEnd, serverEnd);
  SSL_set_connect_state(client.get());
  SSL_set_accept_state(server.get());
  for (int i = 0; i < 20; ++i) {
    SSL_do_handshake(client.get());
    SSL_do_handshake(server.get());
  }
  return SSL_get_verify_result(client.get());
}

TEST(CertStoreTest, ContextsShareOneStore) {
  ASSERT_TRUE(AddTrustedAuthority(TestCertificates::GetShared().getAuthorityPem()));
  const ContextPtr one = MakeClient();
  const ContextPtr two = MakeClient();
  EXPECT_TRUE(InstallCertStore(one.get()));
  EXPECT_TRUE(InstallCertStore(two.get()));
  EXPECT_EQ(SSL_CTX_get_cert_store(one.get()), SSL_CTX_get_cert_store(two.get()));
}

TEST(CertStoreTest, TheStoreOutlivesTheContextsThatShareIt) {
  ASSERT_TRUE(AddTrustedAuthority(TestCertificates::GetShared().getAuthorityPem()));
  const ContextPtr kept = MakeClient();
  ASSERT_TRUE(InstallCertStore(kept.get()));
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(InstallCertStore(MakeClient().get()));
  EXPECT_EQ(Handshake(kept.get(), TestCertificates::GetShared().createGood()), X509_V_OK);
}

TEST(CertStoreTest, TrustedComesFirstAndPartOfAChainIsEnough) {
  ASSERT_TRUE(AddTrustedAuthority(TestCertificates::GetShared().getAuthorityPem()));
  const ContextPtr context = MakeClient();
  ASSERT_TRUE(InstallCertStore(context.get()));
  const X509_VERIFY_PARAM* parameters = X509_STORE_get0_param(SSL_CTX_get_cert_store(context.get()));
  const unsigned long wanted = X509_V_FLAG_TRUSTED_FIRST | X509_V_FLAG_PARTIAL_CHAIN;
  EXPECT_EQ(X509_VERIFY_PARAM_get_flags(parameters) & wanted, wanted);
}

TEST(CertStoreTest, AnAddedAuthorityIsTrustedInContextsThatHaveTheStoreAlready) {
  ASSERT_TRUE(AddTrustedAuthority(TestCertificates::GetShared().getAuthorityPem()));
  const ContextPtr context = MakeClient();
  ASSERT_TRUE(InstallCertStore(context.get()));
  const TlsIdentity identity = TestCertificates::CreateSelfSigned();
  EXPECT_NE(Handshake(context.get(), identity), X509_V_OK);
  EXPECT_TRUE(AddTrustedAuthority(identity.certificateChainPem));
  EXPECT_EQ(Handshake(context.get(), identity), X509_V_OK);
}

TEST(CertStoreTest, AnUnknownIssuerIsNotTrusted) {
  ASSERT_TRUE(AddTrustedAuthority(TestCertificates::GetShared().getAuthorityPem()));
  const ContextPtr context = MakeClient();
  ASSERT_TRUE(InstallCertStore(context.get()));
  EXPECT_NE(Handshake(context.get(), TestCertificates::CreateFromUnknownIssuer()), X509_V_OK);
}

TEST(CertStoreTest, AnAuthorityMayBeAddedTwice) {
  EXPECT_TRUE(AddTrustedAuthority(TestCertificates::GetShared().getAuthorityPem()));
  EXPECT_TRUE(AddTrustedAuthority(TestCertificates::GetShared().getAuthorityPem()));
}

TEST(CertStoreTest, ATextWithoutACertificateAddsNothing) {
  ERR_clear_error();
  EXPECT_FALSE(AddTrustedAuthority(""));
  EXPECT_FALSE(AddTrustedAuthority("no certificate"));
  EXPECT_EQ(ERR_peek_error(), 0U);
}

TEST(CertStoreTest, ManyThreadsShareTheStore) {
  ASSERT_TRUE(AddTrustedAuthority(TestCertificates::GetShared().getAuthorityPem()));
  vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int round = 0; round < 5; ++round) {
        const ContextPtr context = MakeClient();
        EXPECT_TRUE(InstallCertStore(context.get()));
        EXPECT_EQ(Handshake(context.get(), TestCertificates::GetShared().createGood()), X509_V_OK);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

// The store is loaded once in a process: what it is loaded from is tried in processes of their own.

class CertStoreLoadingTest : public testing::Test {
 protected:
  void SetUp() override {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    char pattern[] = "/tmp/netweft-certs-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    mFolder = pattern;
  }

  void TearDown() override { std::filesystem::remove_all(mFolder); }

  /// In the child: OpenSSL's defaults come from here.
  void useFile(const string& path) const { setenv("SSL_CERT_FILE", path.c_str(), 1); }
  void useFolder(const string& path) const { setenv("SSL_CERT_DIR", path.c_str(), 1); }

  /// Writes the authority's certificate under this name and gives its path.
  string write(const string& name) const {
    const string path = mFolder + "/" + name;
    std::ofstream(path) << TestCertificates::GetShared().getAuthorityPem();
    return path;
  }

  string getHashedName() const {
    const string& pem = TestCertificates::GetShared().getAuthorityPem();
    const BioPtr text(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    const X509Ptr certificate(PEM_read_bio_X509(text.get(), nullptr, nullptr, nullptr));
    char name[32];
    std::snprintf(name, sizeof name, "%08lx.0", X509_subject_name_hash(certificate.get()));
    return name;
  }

  static bool TrustsGood() {
    const ContextPtr context = MakeClient();
    return InstallCertStore(context.get()) &&
           Handshake(context.get(), TestCertificates::GetShared().createGood()) == X509_V_OK;
  }

  static bool HasStore() { return InstallCertStore(MakeClient().get()); }

  static void Exit(bool good) { std::_Exit(good ? 0 : 1); }

  string mFolder;
};

TEST_F(CertStoreLoadingTest, ABundleThatTheEnvironmentNamesIsLoaded) {
  EXPECT_EXIT((useFile(write("bundle.pem")), useFolder(mFolder + "/none"), Exit(TrustsGood())),
              testing::ExitedWithCode(0), "");
}

TEST_F(CertStoreLoadingTest, AFolderAloneIsEnough) {
  EXPECT_EXIT(
      (useFile(mFolder + "/none.pem"), write(getHashedName()), useFolder("/nowhere:" + mFolder), Exit(TrustsGood())),
      testing::ExitedWithCode(0), "");
}

TEST_F(CertStoreLoadingTest, AFolderWithoutHashedNamesHoldsNone) {
  EXPECT_EXIT((useFile(mFolder + "/none.pem"), write("authority.pem"), write("12345678.x"), write("1234567g.0"),
               write("123456789.0"), write("12345678."), useFolder(mFolder), Exit(!HasStore())),
              testing::ExitedWithCode(0), "");
}

TEST_F(CertStoreLoadingTest, AHashedNameWithoutACertificateBehindItHoldsNone) {
  EXPECT_EXIT((useFile(mFolder + "/none.pem"), std::ofstream(mFolder + "/12345678.0") << "no certificate",
               useFolder(mFolder), Exit(!HasStore())),
              testing::ExitedWithCode(0), "");
}

TEST_F(CertStoreLoadingTest, AMachineWithoutCertificatesHasNoStore) {
  EXPECT_EXIT((useFile(mFolder + "/none.pem"), useFolder(mFolder + "/none"), Exit(!HasStore())),
              testing::ExitedWithCode(0), "");
}

TEST_F(CertStoreLoadingTest, AnAddedAuthorityMakesUpForAMachineWithoutCertificates) {
  EXPECT_EXIT(
      (useFile(mFolder + "/none.pem"), useFolder(mFolder + "/none"),
       Exit(!HasStore() && AddTrustedAuthority(TestCertificates::GetShared().getAuthorityPem()) && TrustsGood())),
      testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace qx
