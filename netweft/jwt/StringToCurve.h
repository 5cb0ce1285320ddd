#pragma once

#include "netweft/base/crypto/EllipticCurveKey.h"

namespace qx::jwt {

/// The curve that a JWK's "crv" names: "P-256", "P-384" or "P-512", in this letter case; `EC_Unknown` for any other
/// text. The third is the field's 521 bits under the name that matches its algorithm, ES512: what the registry of
/// curves calls "P-521" is unknown here.
NETWEFT_EXPORT EllipticCurve StringToCurve(const string& name);

}  // namespace qx::jwt
