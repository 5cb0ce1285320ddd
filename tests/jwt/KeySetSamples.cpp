#include "tests/jwt/KeySetSamples.h"

namespace qx::jwt::test {

string ToJson(const Members& members) {
  string json;
  for (const auto& [name, value] : members) json += (json.empty() ? "" : ",") + Quote(name) + ":" + value;
  return "{" + json + "}";
}

string MakeKeySet(const vector<string>& elements) {
  string json;
  for (const string& element : elements) json += (json.empty() ? "" : ",") + element;
  return "{\"keys\":[" + json + "]}";
}

string MakeKeySet(const vector<Members>& keys) {
  vector<string> elements;
  for (const Members& key : keys) elements.push_back(ToJson(key));
  return MakeKeySet(elements);
}

const string kPublicKeySet = R"(
{"keys":
  [
    {"kty":"EC",
     "crv":"P-256",
     "x":"MKBCTNIcKUSDii11ySs3526iDZ8AiTo7Tu6KPAqv7D4",
     "y":"4Etl6SRW2YiLUrN5vfvVHuhp7x8PxltmWWlbbM4IFyM",
     "use":"enc",
     "kid":"1"},

    {"kty":"RSA",
     "n":")"
                             "0vx7agoebGcQSuuPiLJXZptN9nndrQmbXEps2aiAFbWhM78LhWx4cbbfAAtVT86zwu1RK7aPFFxuhDR1L6tSoc"
                             "_BJECPebWKRXjBZCiFV4n3oknjhMstn64tZ_2W-5JsGY4Hc5n9yBXArwl93lqt7_RN5w6Cf0h4QyQ5v-65YGjQ"
                             "R0_FDW2QvzqY368QQMicAtaSqzs8KJZgnYb9c7d0zgdAZHzu6qMQvRL5hajrn1n91CbOpbISD08qNLyrdkt-bF"
                             "TWhAI4vMQFh6WeZu0fM4lFd2NcRwr3XPksINHaQ-G_xBniIqbw0Ls1jF44-csFCur-kEgU8awapJzKnqDKgw"
                             R"(",
     "e":"AQAB",
     "alg":"RS256",
     "kid":"2011-04-29"}
  ]
})";

}  // namespace qx::jwt::test
