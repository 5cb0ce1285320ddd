#include "netweft/base/crypto/Hash.h"

#include "netweft/base/crypto/internal/Digests.h"

#include <openssl/core_names.h>

namespace qx {

namespace {

using impl::ErrorQueueMark;
using impl::EvpMacCtxPtr;
using impl::EvpMacPtr;
using impl::ToUnsigned;

/// One HMAC context per digest, without a key, never worked with: a copy of it costs less than a new one, which
/// looks its digest up by name.
struct HmacTemplates {
  EvpMacPtr hmac{EVP_MAC_fetch(nullptr, "HMAC", nullptr)};
  EvpMacCtxPtr sha1 = make(HT_Sha1);
  EvpMacCtxPtr sha256 = make(HT_Sha256);
  EvpMacCtxPtr sha384 = make(HT_Sha384);
  EvpMacCtxPtr sha512 = make(HT_Sha512);

  EvpMacCtxPtr make(HashType type) const {
    const EVP_MD* digest = impl::GetDigest(type);
    if (hmac == nullptr || digest == nullptr) return nullptr;
    string name = EVP_MD_get0_name(digest);
    const OSSL_PARAM params[] = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, name.data(), 0),
                                 OSSL_PARAM_construct_end()};
    EvpMacCtxPtr context(EVP_MAC_CTX_new(hmac.get()));
    if (context == nullptr || EVP_MAC_CTX_set_params(context.get(), params) != 1) return nullptr;
    return context;
  }
};

EvpMacCtxPtr MakeHmacContext(HashType type) {
  static const HmacTemplates templates;
  const EVP_MAC_CTX* source = nullptr;
  switch (type) {
    case HT_Sha1: source = templates.sha1.get(); break;
    case HT_Sha256: source = templates.sha256.get(); break;
    case HT_Sha384: source = templates.sha384.get(); break;
    case HT_Sha512: source = templates.sha512.get(); break;
  }
  return EvpMacCtxPtr(source == nullptr ? nullptr : EVP_MAC_CTX_dup(source));
}

}  // namespace

bool ComputeHash(const string& data, HashType type, bytes& out) {
  const ErrorQueueMark mark;
  out.clear();
  const EVP_MD* digest = impl::GetDigest(type);
  if (digest == nullptr) return false;
  bytes result(EVP_MAX_MD_SIZE);
  unsigned int size = 0;
  if (EVP_Digest(data.data(), data.size(), ToUnsigned(result.data()), &size, digest, nullptr) != 1) return false;
  result.resize(size);
  out.swap(result);
  return true;
}

bool ComputeHmac(HashType type, const char* key, uint64 keyLen, const char* data, uint64 dataLen, bytes& out) {
  const ErrorQueueMark mark;
  bytes result(EVP_MAX_MD_SIZE);
  size_t size = 0;
  const EvpMacCtxPtr context = MakeHmacContext(type);
  // A null key would mean "the key that the context has".
  const bool done = context != nullptr &&
                    EVP_MAC_init(context.get(), ToUnsigned(keyLen == 0 ? "" : key), keyLen, nullptr) == 1 &&
                    EVP_MAC_update(context.get(), ToUnsigned(data), dataLen) == 1 &&
                    EVP_MAC_final(context.get(), ToUnsigned(result.data()), &size, result.size()) == 1;
  result.resize(done ? size : 0);
  out.swap(result);
  return done;
}

}  // namespace qx
