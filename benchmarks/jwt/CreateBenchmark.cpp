#include "benchmarks/jwt/BareEvp.h"
#include "benchmarks/jwt/Tokens.h"
#include "netweft/jwt/CreateJwt.h"

#include <benchmark/benchmark.h>

/// The making of a token (two maps to JSON, base64, signature) beside the signature alone.
namespace qx::jwt::benchmarks {
namespace {

void CreateNetweft(benchmark::State& state, Alg alg) {
  qxVariantMapImpl claims = GetClaims();
  string token;
  for (auto round : state) {
    const bool done = alg == HS256 ? CreateHashedJwt(claims, GetSecret(), alg, token, 0)
                                   : CreateSignedJwt(claims, *GetKey(alg), alg, token, 0);
    if (!done) state.SkipWithError("not made");
  }
}

void CreateBare(benchmark::State& state, Alg alg) {
  const string token = MakeToken(alg);
  const string text = token.substr(0, token.rfind('.'));
  BareEvp bare(alg);
  for (auto round : state) {
    if ((alg == HS256 ? bare.computeMac(text) : bare.sign(text)) == 0) state.SkipWithError("not made");
  }
}

BENCHMARK_CAPTURE(CreateBare, HS256, HS256);
BENCHMARK_CAPTURE(CreateNetweft, HS256, HS256);
BENCHMARK_CAPTURE(CreateBare, RS256, RS256);
BENCHMARK_CAPTURE(CreateNetweft, RS256, RS256);
BENCHMARK_CAPTURE(CreateBare, ES256, ES256);
BENCHMARK_CAPTURE(CreateNetweft, ES256, ES256);

}  // namespace
}  // namespace qx::jwt::benchmarks
