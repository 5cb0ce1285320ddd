#include "netweft/river/internal/JsonHash.h"

#include "netweft/base/crypto/Base64.h"
#include "netweft/base/crypto/Hash.h"
#include "netweft/base/json/Json2Variant.h"

namespace qx::couch {

string hashJson(const qxVariantMapImpl& map) {
  string text;
  json::Json2Variant::Convert(map, text, false);
  bytes digest;
  ComputeHash(text, HT_Sha1, digest);
  string encoded;
  base64Encode(digest.data(), digest.size(), encoded, B64_Standard);
  return encoded;
}

}  // namespace qx::couch
