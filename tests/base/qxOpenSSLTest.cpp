#include "netweft/base/crypto/qxOpenSSL.h"

#include "netweft/base/crypto/internal/CertStore.h"
#include "tests/support/TestCertificates.h"

#include <gtest/gtest.h>
#include <openssl/ssl.h>

namespace qx {
namespace {

using ContextPtr = std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)>;

ContextPtr MakeContext() { return {SSL_CTX_new(TLS_client_method()), &SSL_CTX_free}; }

qxOpenSSL::qxOpenSSLVersion Parse(const string& text) { return qxOpenSSL::ParseOpenSSLVersionString(text); }

TEST(qxOpenSSLTest, AnUnknownVersionIsZero) { EXPECT_EQ(int{qxOpenSSL::OV_Unknown}, 0); }

TEST(qxOpenSSLTest, GenerationsAreToldByTheirFirstNumbers) {
  for (const char* text : {"3.0.15", "3.0.0", "3.1.1", "3.5.0-dev", "3.0", "3.0.8+quic"}) {
    EXPECT_EQ(Parse(text), qxOpenSSL::OV_3) << text;
  }
  for (const char* text : {"1.1.1w", "1.1.0", "1.1.1"}) EXPECT_EQ(Parse(text), qxOpenSSL::OV_1_1) << text;
  for (const char* text : {"1.0.2k-fips", "1.0.1"}) EXPECT_EQ(Parse(text), qxOpenSSL::OV_1_0) << text;
}

TEST(qxOpenSSLTest, AnyOtherTextIsUnknown) {
  for (const char* text : {"", "3", "3.", "3.x", ".3.0", "30.1.1", "4.0.0", "0.9.8", "1.2.0", "1.10.0", "2.0.0", "3.0.",
                           "3.0x", "3.0.x", "x3.0.1", " 3.0.1", "-3.0.1", "three"}) {
    EXPECT_EQ(Parse(text), qxOpenSSL::OV_Unknown) << text;
  }
}

TEST(qxOpenSSLTest, StartsAndEndsNest) {
  qxOpenSSL::initializeLibrary(true);
  qxOpenSSL::initializeLibrary(false);
  qxOpenSSL::finalizeLibrary();
  qxOpenSSL::finalizeLibrary();
  qxOpenSSL::initializeLibrary(true);
  EXPECT_NE(MakeContext(), nullptr);
  qxOpenSSL::finalizeLibrary();
}

TEST(qxOpenSSLTest, ACertStoreNeedsAContext) { EXPECT_FALSE(qxOpenSSL::setCertStore(qxOpenSSL::OV_3, nullptr)); }

TEST(qxOpenSSLTest, ACertStoreNeedsAContextOfThisGeneration) {
  ASSERT_TRUE(impl::AddTrustedAuthority(test::TestCertificates::GetShared().getAuthorityPem()));
  const ContextPtr context = MakeContext();
  const X509_STORE* before = SSL_CTX_get_cert_store(context.get());
  for (const auto version : {qxOpenSSL::OV_Unknown, qxOpenSSL::OV_1_0, qxOpenSSL::OV_1_1}) {
    EXPECT_FALSE(qxOpenSSL::setCertStore(version, context.get()));
  }
  EXPECT_EQ(SSL_CTX_get_cert_store(context.get()), before);
  EXPECT_TRUE(qxOpenSSL::setCertStore(qxOpenSSL::OV_3, context.get()));
  EXPECT_NE(SSL_CTX_get_cert_store(context.get()), before);
}

}  // namespace
}  // namespace qx
