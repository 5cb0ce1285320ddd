#include "netweft/jwt/StringToCurve.h"

namespace qx::jwt {

EllipticCurve StringToCurve(const string& name) {
  if (name == "P-256") return EC_P256;
  if (name == "P-384") return EC_P384;
  if (name == "P-512") return EC_P521;
  return EC_Unknown;
}

}  // namespace qx::jwt
