#include "benchmarks/jwt/BareEvp.h"
#include "benchmarks/jwt/Tokens.h"
#include "netweft/jwt/LocalKeyStore.h"
#include "netweft/jwt/Verifier.h"

#include <benchmark/benchmark.h>

/// A whole check of a token (split, decode, parse, key look-up, signature, claims) beside the signature alone.
namespace qx::jwt::benchmarks {
namespace {

void VerifyNetweft(benchmark::State& state, Alg alg) {
  LocalKeyStore keys;
  if (alg != HS256) keys.addKey("key-1", GetKey(alg), alg);
  Verifier verifier;
  verifier.setClientInfo(GetSecret(), &keys, alg, false);
  const string token = MakeToken(alg);
  for (auto round : state) {
    qxVariantMapImpl claims;
    if (!verifier.validateJwt(token, claims, nullptr)) state.SkipWithError("rejected");
    benchmark::DoNotOptimize(claims);
  }
}

void VerifyBare(benchmark::State& state, Alg alg) {
  const string token = MakeToken(alg);
  const string text = token.substr(0, token.rfind('.'));
  BareEvp bare(alg);
  if (alg != HS256) bare.sign(text);
  for (auto round : state) {
    if (alg == HS256 ? bare.computeMac(text) == 0 : !bare.verify(text)) state.SkipWithError("rejected");
  }
}

BENCHMARK_CAPTURE(VerifyBare, HS256, HS256);
BENCHMARK_CAPTURE(VerifyNetweft, HS256, HS256);
BENCHMARK_CAPTURE(VerifyBare, RS256, RS256);
BENCHMARK_CAPTURE(VerifyNetweft, RS256, RS256);
BENCHMARK_CAPTURE(VerifyBare, ES256, ES256);
BENCHMARK_CAPTURE(VerifyNetweft, ES256, ES256);

}  // namespace
}  // namespace qx::jwt::benchmarks
