#include "netweft/base/crypto/EllipticCurveKey.h"

#include "netweft/base/crypto/internal/AsymmetricKeyAccess.h"

#include <openssl/core_names.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace qx {

namespace {

struct Curve {
  EllipticCurve id;
  const char* name;  ///< as OpenSSL gives it
  size_t fieldBytes;
};

constexpr std::array<Curve, 3> kCurves{{
    {EC_P256, "prime256v1", 32},
    {EC_P384, "secp384r1", 48},
    {EC_P521, "secp521r1", 66},
}};

const Curve* FindCurve(EllipticCurve id) {
  for (const Curve& curve : kCurves) {
    if (curve.id == id) return &curve;
  }
  return nullptr;
}

EllipticCurve FindCurveOf(const EVP_PKEY* key) {
  std::array<char, 64> name{};
  size_t length = 0;
  if (key == nullptr || EVP_PKEY_get_group_name(key, name.data(), name.size(), &length) != 1) return EC_Unknown;
  for (const Curve& curve : kCurves) {
    if (std::strcmp(curve.name, name.data()) == 0) return curve.id;
  }
  return EC_Unknown;
}

/// The uncompressed point: 4, x, y.
bytes EncodePoint(const Curve& curve, const bytes& x, const bytes& y) {
  bytes point(1 + 2 * curve.fieldBytes, '\0');
  point.front() = 4;
  std::copy_backward(x.begin(), x.end(), point.end() - static_cast<std::ptrdiff_t>(curve.fieldBytes));
  std::copy_backward(y.begin(), y.end(), point.end());
  return point;
}

bool IsPointOnCurve(EVP_PKEY* key) {
  const impl::EvpPkeyCtxPtr context(EVP_PKEY_CTX_new_from_pkey(nullptr, key, nullptr));
  return context != nullptr && EVP_PKEY_public_check(context.get()) == 1;
}

impl::KeyMaterial BuildFromPoint(EllipticCurve id, const bytes& x, const bytes& y) {
  const Curve* curve = FindCurve(id);
  if (curve == nullptr) return impl::RefuseKey("unknown curve");
  if (std::max(x.size(), y.size()) > curve->fieldBytes) return impl::RefuseKey("coordinate too long for the curve");
  const bytes point = EncodePoint(*curve, x, y);
  const impl::ParamBuilderPtr builder(OSSL_PARAM_BLD_new());
  if (builder == nullptr ||
      OSSL_PARAM_BLD_push_utf8_string(builder.get(), OSSL_PKEY_PARAM_GROUP_NAME, curve->name, 0) != 1 ||
      OSSL_PARAM_BLD_push_octet_string(builder.get(), OSSL_PKEY_PARAM_PUB_KEY, point.data(), point.size()) != 1) {
    return impl::RefuseKey("the crypto library failed");
  }
  impl::KeyMaterial key = impl::BuildPublicKey("EC", *builder);
  return key.pkey != nullptr && IsPointOnCurve(key.pkey.get()) ? std::move(key)
                                                               : impl::RefuseKey("point not on the curve");
}

impl::KeyMaterial LoadEllipticCurveKey(const string& pem) {
  impl::KeyMaterial key = impl::LoadPemKey(pem, "EC");
  if (key.pkey == nullptr) return key;
  if (FindCurveOf(key.pkey.get()) == EC_Unknown) return impl::RefuseKey("unknown curve");
  return IsPointOnCurve(key.pkey.get()) ? std::move(key) : impl::RefuseKey("point not on the curve");
}

}  // namespace

EllipticCurveKey::EllipticCurveKey(EllipticCurve curve, const bytes& x, const bytes& y) : mCurve(curve) {
  const impl::ErrorQueueMark mark;
  AsymmetricKeyAccess::Accept(*this, BuildFromPoint(curve, x, y));
}

EllipticCurveKey::EllipticCurveKey(const string& pem) : mCurve(EC_Unknown) {
  const impl::ErrorQueueMark mark;
  AsymmetricKeyAccess::Accept(*this, LoadEllipticCurveKey(pem));
  mCurve = FindCurveOf(AsymmetricKeyAccess::GetPkey(*this));
}

EllipticCurveKey::~EllipticCurveKey() = default;

}  // namespace qx
