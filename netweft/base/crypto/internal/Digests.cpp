#include "netweft/base/crypto/internal/Digests.h"

namespace qx::impl {

namespace {

struct Digests {
  EvpMdPtr sha1{EVP_MD_fetch(nullptr, "SHA1", nullptr)};
  EvpMdPtr sha256{EVP_MD_fetch(nullptr, "SHA256", nullptr)};
  EvpMdPtr sha384{EVP_MD_fetch(nullptr, "SHA384", nullptr)};
  EvpMdPtr sha512{EVP_MD_fetch(nullptr, "SHA512", nullptr)};
};

}  // namespace

const EVP_MD* GetDigest(HashType type) {
  static const Digests digests;
  switch (type) {
    case HT_Sha1: return digests.sha1.get();
    case HT_Sha256: return digests.sha256.get();
    case HT_Sha384: return digests.sha384.get();
    case HT_Sha512: return digests.sha512.get();
  }
  return nullptr;
}

}  // namespace qx::impl
