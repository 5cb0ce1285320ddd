#include "netweft/jwt/RandomStrings.h"

#include "netweft/base/crypto/Base64.h"
#include "netweft/base/system/qxStringUtils.h"
#include "netweft/base/system/qxSystemUtils.h"

#include <algorithm>

namespace qx::jwt {

namespace {

bytes DrawBytes(uint64 n) {
  bytes drawn(n);
  qxSystemUtils::Rand(drawn.data(), drawn.size());
  return drawn;
}

string DrawBase64(uint64 n, Base64CharSet charSet) {
  const bytes drawn = DrawBytes(n);
  string text;
  base64Encode(drawn.data(), drawn.size(), text, charSet);
  return text;
}

uint64 AtLeastOne(uint64 n) { return std::max<uint64>(n, 1); }

}  // namespace

string CreateRandB64String(uint64 n) { return DrawBase64(AtLeastOne(n), B64_UrlSafeBare); }

string CreateRandHexString(uint64 n) {
  const bytes drawn = DrawBytes(AtLeastOne(n));
  string text;
  qxStringUtils::ToHex(drawn.data(), drawn.size(), text);
  return text;
}

string CreateSalt(uint64 n) { return n == 0 ? string() : DrawBase64(n, B64_UrlSafe); }

}  // namespace qx::jwt
