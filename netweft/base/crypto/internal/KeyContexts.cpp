#include "netweft/base/crypto/internal/KeyContexts.h"

#include "netweft/base/crypto/internal/Digests.h"

namespace qx::impl {

namespace {

EvpPkeyCtxPtr MakeReady(EVP_PKEY* key, KeyContexts::Operation operation, const EVP_MD* digest) {
  EvpPkeyCtxPtr context(EVP_PKEY_CTX_new_from_pkey(nullptr, key, nullptr));
  const auto init = operation == KeyContexts::O_Sign ? EVP_PKEY_sign_init : EVP_PKEY_verify_init;
  const bool done = context != nullptr && digest != nullptr && init(context.get()) == 1 &&
                    EVP_PKEY_CTX_set_signature_md(context.get(), digest) == 1;
  return done ? std::move(context) : nullptr;
}

}  // namespace

KeyContexts::~KeyContexts() {
  for (auto& ofOperation : mReady) {
    for (auto& ready : ofOperation) EVP_PKEY_CTX_free(ready.load(std::memory_order_relaxed));
  }
}

EvpPkeyCtxPtr KeyContexts::copy(EVP_PKEY* key, Operation operation, HashType type) {
  if (type < HT_Sha256 || type > HT_Sha512) return nullptr;
  std::atomic<EVP_PKEY_CTX*>& ready = mReady[operation][static_cast<size_t>(type - HT_Sha256)];
  if (const EVP_PKEY_CTX* source = ready.load(std::memory_order_acquire)) {
    return EvpPkeyCtxPtr(EVP_PKEY_CTX_dup(source));
  }
  EvpPkeyCtxPtr made = MakeReady(key, operation, GetDigest(type));
  if (made == nullptr) return nullptr;
  EvpPkeyCtxPtr own(EVP_PKEY_CTX_dup(made.get()));
  // Of threads that made one at the same moment, the first has its own kept.
  EVP_PKEY_CTX* none = nullptr;
  if (ready.compare_exchange_strong(none, made.get(), std::memory_order_acq_rel)) static_cast<void>(made.release());
  return own;
}

}  // namespace qx::impl
