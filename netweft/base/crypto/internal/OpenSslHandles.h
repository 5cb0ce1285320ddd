#pragma once

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/params.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <memory>

/// OpenSSL's handles as owning pointers.
namespace qx::impl {

template <auto Free>
struct OpenSslDeleter {
  template <class Handle>
  void operator()(Handle* handle) const noexcept {
    Free(handle);
  }
};

using BigNumberPtr = std::unique_ptr<BIGNUM, OpenSslDeleter<BN_free>>;
using BioPtr = std::unique_ptr<BIO, OpenSslDeleter<BIO_free>>;
using EcdsaSigPtr = std::unique_ptr<ECDSA_SIG, OpenSslDeleter<ECDSA_SIG_free>>;
using EvpMacCtxPtr = std::unique_ptr<EVP_MAC_CTX, OpenSslDeleter<EVP_MAC_CTX_free>>;
using EvpMacPtr = std::unique_ptr<EVP_MAC, OpenSslDeleter<EVP_MAC_free>>;
using EvpMdCtxPtr = std::unique_ptr<EVP_MD_CTX, OpenSslDeleter<EVP_MD_CTX_free>>;
using EvpMdPtr = std::unique_ptr<EVP_MD, OpenSslDeleter<EVP_MD_free>>;
using EvpPkeyCtxPtr = std::unique_ptr<EVP_PKEY_CTX, OpenSslDeleter<EVP_PKEY_CTX_free>>;
using EvpPkeyPtr = std::unique_ptr<EVP_PKEY, OpenSslDeleter<EVP_PKEY_free>>;
using ParamBuilderPtr = std::unique_ptr<OSSL_PARAM_BLD, OpenSslDeleter<OSSL_PARAM_BLD_free>>;
using ParamsPtr = std::unique_ptr<OSSL_PARAM, OpenSslDeleter<OSSL_PARAM_free>>;
using X509Ptr = std::unique_ptr<X509, OpenSslDeleter<X509_free>>;
using X509StorePtr = std::unique_ptr<X509_STORE, OpenSslDeleter<X509_STORE_free>>;

/// The calling thread's error queue belongs to the host: while one of these lives, errors pile up behind a mark, and
/// its end takes them away again.
class ErrorQueueMark {
 public:
  ErrorQueueMark() noexcept { ERR_set_mark(); }
  ErrorQueueMark(const ErrorQueueMark&) = delete;
  ErrorQueueMark& operator=(const ErrorQueueMark&) = delete;
  ~ErrorQueueMark() { ERR_pop_to_mark(); }
};

/// OpenSSL counts and points in `unsigned char`; bytes here are `char`.
inline const unsigned char* ToUnsigned(const char* data) noexcept {
  return reinterpret_cast<const unsigned char*>(data);
}
inline unsigned char* ToUnsigned(char* data) noexcept { return reinterpret_cast<unsigned char*>(data); }

}  // namespace qx::impl
