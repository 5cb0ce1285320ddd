#pragma once

#include "netweft/base/crypto/EllipticCurveKey.h"
#include "netweft/base/system/qxVariant.h"
#include "netweft/jwt/internal/KeyRecords.h"

namespace qx::jwt {

/// What one element of a key set says of its key: a public key, good for every algorithm of its family, or a rejection.
/// The first thing that is wrong, in the order usage, algorithm, numbers, curve, algorithm against kind, key, is the
/// one that is told. The identifier and the time of the record are the caller's.
KeyRecord ReadJwk(const qxVariantMapImpl& jwk);

/// Why a key on that curve is rejected; empty when it is not.
string FindCurveFlaw(EllipticCurve curve);

}  // namespace qx::jwt
