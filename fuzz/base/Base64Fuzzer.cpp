#include "fuzz/Require.h"
#include "fuzz/Target.h"
#include "netweft/base/crypto/Base64.h"

/// Any bytes encode to a text that decodes to them, and any text that decodes is the one that its bytes encode to: so a
/// token, say, has one form alone.
namespace qx::fuzz {
namespace {

void CheckBytes(std::string_view data, Base64CharSet charSet) {
  string text;
  bytes decoded;
  Require(base64Encode(data.data(), data.size(), text, charSet), "any bytes are encoded");
  Require(base64Decode(text, decoded, charSet), "what was encoded is decoded");
  Require(std::string_view(decoded.data(), decoded.size()) == data, "what was encoded is decoded to the same bytes");
}

void CheckText(std::string_view text, Base64CharSet charSet) {
  bytes decoded(1);
  if (!base64Decode(text.data(), text.size(), decoded, charSet)) {
    Require(decoded.empty(), "what is not decoded leaves nothing behind");
    return;
  }
  string again;
  Require(base64Encode(decoded.data(), decoded.size(), again, charSet), "what was decoded is encoded");
  Require(again == text, "no other text stands for the same bytes");
}

void Check(std::string_view data) {
  for (const Base64CharSet charSet : {B64_Standard, B64_UrlSafe, B64_StandardBare, B64_UrlSafeBare}) {
    CheckBytes(data, charSet);
    CheckText(data, charSet);
  }
}

const Target sTarget("base64", Check);

}  // namespace
}  // namespace qx::fuzz
