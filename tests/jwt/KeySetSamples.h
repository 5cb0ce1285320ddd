#pragma once

#include "netweft/base/system/qxVariant.h"
#include "tests/base/JwsExamples.h"

/// Key sets in writing.
namespace qx::jwt::test {

/// A JWK's members by name, each a JSON text.
using Members = map<string, string>;

inline string Quote(const string& text) { return "\"" + text + "\""; }

/// Good ones, for signatures: the key of the RS256 example, and of the ES256 example.
inline Members RsaMembers(const string& kid) {
  return {{"kid", Quote(kid)},
          {"kty", Quote("RSA")},
          {"use", Quote("sig")},
          {"n", Quote(qx::test::kRs256N)},
          {"e", Quote(qx::test::kRs256E)}};
}
inline Members CurveMembers(const string& kid) {
  return {{"kid", Quote(kid)},
          {"kty", Quote("EC")},
          {"use", Quote("sig")},
          {"crv", Quote("P-256")},
          {"x", Quote(qx::test::kEs256X)},
          {"y", Quote(qx::test::kEs256Y)}};
}
inline Members OctMembers(const string& kid) {
  return {{"kid", Quote(kid)}, {"kty", Quote("oct")}, {"use", Quote("sig")}, {"k", Quote(qx::test::kHs256Key)}};
}

/// With one member set to a JSON text, or without it.
inline Members With(Members members, const string& name, const string& json) {
  members[name] = json;
  return members;
}
inline Members Without(Members members, const string& name) {
  members.erase(name);
  return members;
}

string ToJson(const Members& members);
/// {"keys":[...]} of elements that are JSON texts, and of keys.
string MakeKeySet(const vector<string>& elements);
string MakeKeySet(const vector<Members>& keys);

/// RFC 7517, appendix A.1: a curve key for encryption, and an RSA key that tells no use.
extern const string kPublicKeySet;

}  // namespace qx::jwt::test
