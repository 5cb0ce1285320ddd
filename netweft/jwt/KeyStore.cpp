#include "netweft/jwt/KeyStore.h"

#include "netweft/addressing/Url.h"
#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxSystemUtils.h"
#include "netweft/http/ConnectionParameters.h"
#include "netweft/http/HttpConnectionLocker.h"
#include "netweft/http/HttpConnectionPool.h"
#include "netweft/http/HttpHelpers.h"
#include "netweft/jwt/internal/KeySetReader.h"

namespace qx::jwt {

using http::ConnectionParameters;
using http::HttpHelpers;

struct NETWEFT_HIDDEN KeyStore::KeyStoreImpl {
  http::HttpConnectionPool& pool;
  KeyRecords records;
  qx::Url keySetUrl;
  bool verifyPeer;
  http::ProxyPolicy proxyPolicy;
  qx::Url manualProxyUrl;

  ConnectionParameters makeParameters() const;
  bool download(string& body, HttpHelpers::HttpResult& result) const;
  void fetchKeySet();
};

ConnectionParameters KeyStore::KeyStoreImpl::makeParameters() const {
  ConnectionParameters parameters;
  parameters.sslValidatePolicy = verifyPeer ? http::SVP_VerifyPeerAndHost : http::SVP_NoVerify;
  parameters.proxyPolicy = proxyPolicy;
  parameters.manualProxyUrl = manualProxyUrl;
  return parameters;
}

bool KeyStore::KeyStoreImpl::download(string& body, HttpHelpers::HttpResult& result) const {
  const http::HttpConnectionLocker connection(pool, keySetUrl);
  const ConnectionParameters parameters = makeParameters();
  const string* noBody = nullptr;
  return HttpHelpers::HttpGetJson(*connection, keySetUrl, body, &result, &parameters, nullptr, nullptr, noBody, true);
}

void KeyStore::KeyStoreImpl::fetchKeySet() {
  string body;
  HttpHelpers::HttpResult result;
  qxVariantMapImpl keySet;
  // No body at all is an empty set, whose missing "keys" is then the complaint.
  if (download(body, result) && (body.empty() || json::Json2Variant::Convert(body.data(), body.size(), keySet))) {
    ReadKeySet(keySet, records);
    return;
  }
  LogWarning() << "Failed to query key from url " << keySetUrl.toDisplayableUrl() << ": " << result.httpReturnCode
               << ".";
}

namespace {

string ExplainRefusal(const KeyRecord* record, const string& kid, Alg alg) {
  if (record == nullptr) return "No such key {" + kid + "}";
  if (record->key == nullptr) return "Key {" + kid + "} is invalid : " + record->rejection;
  return "Key {" + kid + "} ( is not meant for the algorithm " + AlgToString(alg);
}

}  // namespace

KeyStore::KeyStore(http::HttpConnectionPool& pool, const qx::Url& keySetUrl, bool verifyPeer,
                   http::ProxyPolicy proxyPolicy, const qx::Url& manualProxyUrl)
    : mImpl(new KeyStoreImpl{pool, {}, keySetUrl, verifyPeer, proxyPolicy, manualProxyUrl}) {}

KeyStore::KeyStore(const KeyStore& other) noexcept = default;
KeyStore& KeyStore::operator=(const KeyStore& other) noexcept = default;

KeyStore::~KeyStore() { delete mImpl; }

void KeyStore::clearExpired() { mImpl->records.clearExpired(qxSystemUtils::GetTimeBaseSec()); }

shared_ptr<AsymmetricKey> KeyStore::getKeyFromId(const string& kid, Alg alg, string* error) {
  clearExpired();
  const KeyRecord* record = mImpl->records.findFresh(kid, qxSystemUtils::GetTimeBaseSec());
  if (record == nullptr) {
    mImpl->fetchKeySet();
    record = mImpl->records.findFresh(kid, qxSystemUtils::GetTimeBaseSec());
  }
  if (record != nullptr && (record->allowedAlgs & alg) != 0) return record->key;
  if (error != nullptr) *error = ExplainRefusal(record, kid, alg);
  return nullptr;
}

}  // namespace qx::jwt
