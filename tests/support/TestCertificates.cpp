#include "tests/support/TestCertificates.h"

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <atomic>
#include <fstream>
#include <stdexcept>

namespace qx::test {

namespace {

template <auto Free>
struct Deleter {
  template <class T>
  void operator()(T* object) const {
    Free(object);
  }
};
using KeyPtr = unique_ptr<EVP_PKEY, Deleter<EVP_PKEY_free>>;
using CertificatePtr = unique_ptr<X509, Deleter<X509_free>>;
using BioPtr = unique_ptr<BIO, Deleter<BIO_free>>;
using ExtensionPtr = unique_ptr<X509_EXTENSION, Deleter<X509_EXTENSION_free>>;

constexpr long DaySeconds = 24 * 60 * 60;
const char* const LocalNames = "DNS:localhost,IP:127.0.0.1,IP:::1";

struct Subject {
  const char* commonName;
  const char* alternativeNames;  ///< null for an authority
  long startSeconds = -30 * DaySeconds;
  long endSeconds = 365 * DaySeconds;
};

void Require(bool isDone) {
  if (!isDone) throw std::runtime_error("OpenSSL could not make a test certificate");
}

string ReadAll(BIO* bio) {
  const char* data = nullptr;
  const long size = BIO_get_mem_data(bio, &data);
  return string(data, static_cast<size_t>(size));
}

string ToPem(X509* certificate) {
  const BioPtr bio(BIO_new(BIO_s_mem()));
  Require(PEM_write_bio_X509(bio.get(), certificate) == 1);
  return ReadAll(bio.get());
}

string ToPem(EVP_PKEY* key) {
  const BioPtr bio(BIO_new(BIO_s_mem()));
  Require(PEM_write_bio_PrivateKey(bio.get(), key, nullptr, nullptr, 0, nullptr, nullptr) == 1);
  return ReadAll(bio.get());
}

CertificatePtr CertificateFromPem(const string& pem) {
  const BioPtr bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  return CertificatePtr(PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
}

KeyPtr KeyFromPem(const string& pem) {
  const BioPtr bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  return KeyPtr(PEM_read_bio_PrivateKey(bio.get(), nullptr, nullptr, nullptr));
}

void AddExtension(X509* certificate, int nid, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  const ExtensionPtr extension(X509V3_EXT_conf_nid(nullptr, &context, nid, value));
  Require(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1);
}

void SetCommonName(X509_NAME* name, const char* text) {
  Require(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, reinterpret_cast<const unsigned char*>(text), -1, -1,
                                     0) == 1);
}

CertificatePtr CreateUnsigned(const Subject& subject, EVP_PKEY* key) {
  static std::atomic<long> serial = 1;
  CertificatePtr certificate(X509_new());
  X509* const made = certificate.get();
  X509_set_version(made, X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(made), serial++);
  X509_gmtime_adj(X509_getm_notBefore(made), subject.startSeconds);
  X509_gmtime_adj(X509_getm_notAfter(made), subject.endSeconds);
  SetCommonName(X509_get_subject_name(made), subject.commonName);
  Require(X509_set_pubkey(made, key) == 1);
  const bool isAuthority = subject.alternativeNames == nullptr;
  AddExtension(made, NID_basic_constraints, isAuthority ? "critical,CA:TRUE" : "critical,CA:FALSE");
  AddExtension(made, NID_key_usage, isAuthority ? "critical,keyCertSign,cRLSign" : "critical,digitalSignature");
  if (!isAuthority) AddExtension(made, NID_subject_alt_name, subject.alternativeNames);
  return certificate;
}

TlsIdentity Sign(CertificatePtr certificate, EVP_PKEY* key, X509* issuer, EVP_PKEY* issuerKey) {
  Require(X509_set_issuer_name(certificate.get(), X509_get_subject_name(issuer)) == 1);
  Require(X509_sign(certificate.get(), issuerKey, EVP_sha256()) > 0);
  return {ToPem(certificate.get()), ToPem(key)};
}

TlsIdentity CreateSignedByItself(const Subject& subject) {
  const KeyPtr key(EVP_EC_gen("P-256"));
  CertificatePtr certificate = CreateUnsigned(subject, key.get());
  X509* const issuer = certificate.get();
  return Sign(std::move(certificate), key.get(), issuer, key.get());
}

TlsIdentity Issue(const TlsIdentity& authority, const Subject& subject) {
  const KeyPtr key(EVP_EC_gen("P-256"));
  const CertificatePtr issuer = CertificateFromPem(authority.certificateChainPem);
  const KeyPtr issuerKey = KeyFromPem(authority.keyPem);
  return Sign(CreateUnsigned(subject, key.get()), key.get(), issuer.get(), issuerKey.get());
}

}  // namespace

TestCertificates::TestCertificates()
    : mAuthority(CreateSignedByItself({.commonName = "Netweft test authority", .alternativeNames = nullptr})) {}

const TestCertificates& TestCertificates::GetShared() {
  static const TestCertificates shared;
  return shared;
}

bool TestCertificates::writeAuthority(const string& path) const {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << getAuthorityPem();
  return file.flush().good();
}

TlsIdentity TestCertificates::createGood() const {
  return Issue(mAuthority, {.commonName = "localhost", .alternativeNames = LocalNames});
}

TlsIdentity TestCertificates::createForOtherHost() const {
  return Issue(mAuthority, {.commonName = "elsewhere.example", .alternativeNames = "DNS:elsewhere.example"});
}

TlsIdentity TestCertificates::createExpired() const {
  return Issue(mAuthority, {.commonName = "localhost", .alternativeNames = LocalNames, .endSeconds = -DaySeconds});
}

TlsIdentity TestCertificates::CreateSelfSigned() {
  return CreateSignedByItself({.commonName = "localhost", .alternativeNames = LocalNames});
}

TlsIdentity TestCertificates::CreateFromUnknownIssuer() {
  const TlsIdentity stranger = CreateSignedByItself({.commonName = "Stranger", .alternativeNames = nullptr});
  return Issue(stranger, {.commonName = "localhost", .alternativeNames = LocalNames});
}

}  // namespace qx::test
