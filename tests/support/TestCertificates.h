#pragma once

#include "tests/support/TlsIdentity.h"

namespace qx::test {

/// A certificate authority of the tests' own, and server certificates good and bad, made in memory. Read-only once
/// built; any thread.
class TestCertificates {
 public:
  TestCertificates();

  /// One for the whole process, since the library loads its trusted certificates once.
  static const TestCertificates& GetShared();

  const string& getAuthorityPem() const { return mAuthority.certificateChainPem; }
  /// Writes the authority's certificate to a file, for OpenSSL's SSL_CERT_FILE; false when that fails.
  [[nodiscard]] bool writeAuthority(const string& path) const;

  /// For localhost, 127.0.0.1 and ::1.
  TlsIdentity createGood() const;
  /// For elsewhere.example alone.
  TlsIdentity createForOtherHost() const;
  /// For localhost, until yesterday.
  TlsIdentity createExpired() const;
  /// For localhost, signed by its own key.
  static TlsIdentity CreateSelfSigned();
  /// For localhost, signed by an authority that nobody trusts.
  static TlsIdentity CreateFromUnknownIssuer();

 private:
  TlsIdentity mAuthority;
};

}  // namespace qx::test
