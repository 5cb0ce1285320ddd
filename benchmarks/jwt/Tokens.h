#pragma once

#include "netweft/base/crypto/AsymmetricKey.h"
#include "netweft/base/system/qxVariant.h"
#include "netweft/jwt/Alg.h"

/// What every competitor works on: one set of claims, one secret, one key for each algorithm.
namespace qx::jwt::benchmarks {

const string& GetSecret();

/// RSA of 2,048 bits or P-256, as text: the private half and the public one.
const string& GetPrivatePem(Alg alg);
const string& GetPublicPem(Alg alg);
/// The same keys as objects, which can sign; "kid" is "key-1".
shared_ptr<AsymmetricKey> GetKey(Alg alg);

/// A short token's claims, as JSON and as a map: issuer, subject, audience, scope and three times that hold today.
const string& GetClaimsJson();
const qxVariantMapImpl& GetClaims();

/// Made here.
string MakeToken(Alg alg);

}  // namespace qx::jwt::benchmarks
