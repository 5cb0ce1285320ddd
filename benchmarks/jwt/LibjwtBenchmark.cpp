#include "benchmarks/jwt/Tokens.h"

#include <benchmark/benchmark.h>
#include <jwt.h>

#include <cstdlib>

/// The same work by libjwt, which takes keys as text each time.
namespace qx::jwt::benchmarks {
namespace {

const unsigned char* ToUnsigned(const string& text) { return reinterpret_cast<const unsigned char*>(text.data()); }
int Length(const string& text) { return static_cast<int>(text.size()); }

void VerifyLibjwt(benchmark::State& state, Alg alg) {
  const string token = MakeToken(alg);
  const string& key = alg == HS256 ? GetSecret() : GetPublicPem(alg);
  for (auto round : state) {
    jwt_t* jwt = nullptr;
    if (jwt_decode(&jwt, token.c_str(), ToUnsigned(key), Length(key)) != 0) state.SkipWithError("rejected");
    jwt_free(jwt);
  }
}

void CreateLibjwt(benchmark::State& state, Alg alg) {
  const string& key = alg == HS256 ? GetSecret() : GetPrivatePem(alg);
  const jwt_alg_t jwtAlg = jwt_str_alg(AlgToString(alg).c_str());
  for (auto round : state) {
    jwt_t* jwt = nullptr;
    char* token = nullptr;
    if (jwt_new(&jwt) != 0 || jwt_set_alg(jwt, jwtAlg, ToUnsigned(key), Length(key)) != 0 ||
        jwt_add_grants_json(jwt, GetClaimsJson().c_str()) != 0 || (token = jwt_encode_str(jwt)) == nullptr) {
      state.SkipWithError("not made");
    }
    std::free(token);
    jwt_free(jwt);
  }
}

BENCHMARK_CAPTURE(VerifyLibjwt, HS256, HS256);
BENCHMARK_CAPTURE(VerifyLibjwt, RS256, RS256);
BENCHMARK_CAPTURE(VerifyLibjwt, ES256, ES256);
BENCHMARK_CAPTURE(CreateLibjwt, HS256, HS256);
BENCHMARK_CAPTURE(CreateLibjwt, RS256, RS256);
BENCHMARK_CAPTURE(CreateLibjwt, ES256, ES256);

}  // namespace
}  // namespace qx::jwt::benchmarks
