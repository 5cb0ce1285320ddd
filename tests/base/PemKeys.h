#pragma once

#include "netweft/base/system/qxTypes.h"

/// Keys made for the tests, in every PEM form that they can come in.
namespace qx::test {

struct PemKey {
  string pkcs8;           ///< BEGIN PRIVATE KEY
  string traditional;     ///< BEGIN RSA PRIVATE KEY or BEGIN EC PRIVATE KEY
  string publicKey;       ///< BEGIN PUBLIC KEY
  string encryptedPkcs8;  ///< BEGIN ENCRYPTED PRIVATE KEY
  string encryptedTraditional;
};

/// One for each size, made at its first use.
const PemKey& GetRsaPem(int bits);
/// The public half of one, in its other form: BEGIN RSA PUBLIC KEY.
string ToRsaPublicKeyPem(const PemKey& key);
/// One for each curve, by OpenSSL's name.
const PemKey& GetCurvePem(const string& curve);
/// A key of another kind.
const PemKey& GetEd25519Pem();

/// "BEGIN PUBLIC KEY" of any two numbers, good or bad.
string MakeRsaPublicPem(const bytes& n, const bytes& e);

/// The number that OpenSSL holds under that name, big-endian.
bytes GetNumber(const string& pem, const char* name);

}  // namespace qx::test
