#include "netweft/base/crypto/qxOpenSSL.h"

#include "netweft/base/crypto/internal/CertStore.h"

#include <openssl/crypto.h>

namespace qx {

namespace {

/// "3.0.15", "1.1.1w": two numbers with a dot between them, then the end or a dot and a further number.
bool ParseNumbers(const string& version, string& major, string& minor) {
  constexpr const char* digits = "0123456789";
  const size_t firstDot = version.find_first_not_of(digits);
  if (firstDot == 0 || firstDot == string::npos || version[firstDot] != '.') return false;
  const size_t secondDot = version.find_first_not_of(digits, firstDot + 1);
  major = version.substr(0, firstDot);
  minor = version.substr(firstDot + 1, secondDot - firstDot - 1);
  if (minor.empty() || secondDot == string::npos) return !minor.empty();
  return version[secondDot] == '.' && version.find_first_of(digits, secondDot + 1) == secondDot + 1;
}

}  // namespace

// OpenSSL starts by itself at its first use and ends with the process: libcurl and the host stand on the same copy, and
// once ended it could not be started again. So there is nothing to count and nothing to undo.
void qxOpenSSL::initializeLibrary(bool loadErrorTexts) {
  OPENSSL_init_crypto(loadErrorTexts ? OPENSSL_INIT_LOAD_CRYPTO_STRINGS : OPENSSL_INIT_NO_LOAD_CRYPTO_STRINGS, nullptr);
}

void qxOpenSSL::finalizeLibrary() {}

qxOpenSSL::qxOpenSSLVersion qxOpenSSL::ParseOpenSSLVersionString(const string& version) {
  string major;
  string minor;
  if (!ParseNumbers(version, major, minor)) return OV_Unknown;
  if (major == "3") return OV_3;
  if (major == "1" && minor == "1") return OV_1_1;
  if (major == "1" && minor == "0") return OV_1_0;
  return OV_Unknown;
}

bool qxOpenSSL::setCertStore(qxOpenSSLVersion version, void* sslContext) {
  if (version != OV_3 || sslContext == nullptr) return false;
  return impl::InstallCertStore(static_cast<SSL_CTX*>(sslContext));
}

}  // namespace qx
