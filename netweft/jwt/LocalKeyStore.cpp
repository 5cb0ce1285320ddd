#include "netweft/jwt/LocalKeyStore.h"

namespace qx::jwt {

namespace {

shared_ptr<AsymmetricKey> Refuse(string* error, const char* reason, const string& text) {
  if (error != nullptr) *error = reason + text;
  return nullptr;
}

}  // namespace

LocalKeyStore::LocalKeyStore() = default;
LocalKeyStore::LocalKeyStore(const LocalKeyStore& other) = default;
LocalKeyStore& LocalKeyStore::operator=(const LocalKeyStore& other) = default;
LocalKeyStore::~LocalKeyStore() = default;

shared_ptr<AsymmetricKey> LocalKeyStore::getKeyFromId(const string& kid, Alg alg, string* error) {
  const auto found = mRecords.find(kid);
  if (found == mRecords.end()) return Refuse(error, "LocalKeyStore : Unknown jwt key id ", kid);
  if ((found->second.allowedAlgs & alg) != alg) {
    return Refuse(error, "LocalKeyStore : Unsupported jwt alg ", AlgToString(alg));
  }
  return found->second.key;
}

bool LocalKeyStore::addKey(const string& kid, shared_ptr<AsymmetricKey> key, int allowedAlgs) {
  return !kid.empty() && mRecords.try_emplace(kid, Record{std::move(key), allowedAlgs}).second;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): hosts call it with this signature
bool LocalKeyStore::removeKey(const string& kid, shared_ptr<AsymmetricKey> /*key*/) { return mRecords.erase(kid) != 0; }

}  // namespace qx::jwt
