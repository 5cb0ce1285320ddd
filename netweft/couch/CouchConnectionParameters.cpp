#include "netweft/couch/CouchConnectionParameters.h"

#include "netweft/addressing/internal/ExtendedUrl.h"

namespace qx::couch {

CouchConnectionParameters::CouchConnectionParameters() : Url(CS_DefaultHttp) {}

CouchConnectionParameters::CouchConnectionParameters(const Url& url) : Url(url) {}

CouchConnectionParameters::CouchConnectionParameters(const CouchConnectionParameters& other) = default;

CouchConnectionParameters::~CouchConnectionParameters() = default;

CouchConnectionParameters& CouchConnectionParameters::operator=(const CouchConnectionParameters& other) = default;

bool CouchConnectionParameters::BuildFromDbUrl(CouchConnectionParameters* out, string* dbName, const string& url) {
  if (dbName != nullptr) dbName->clear();
  if (out == nullptr || !out->fromEncodedUtf8String(url, nullptr, false)) return false;

  vector<string>& path = out->editPath();
  if (path.empty()) {
    out->clearUrl(CS_Empty);
    return out->isValid();
  }
  if (dbName != nullptr) *dbName = path.back();
  path.pop_back();
  return out->isValid();
}

CouchConnectionParameters CouchConnectionParameters::toDatabaseUrl(const string& db,
                                                                   const StringPairList& query) const {
  return qx::impl::Extended(*this, {db}, query);
}

CouchConnectionParameters CouchConnectionParameters::toDocumentUrl(const string& db, const string& doc,
                                                                   const StringPairList& query) const {
  return qx::impl::Extended(*this, {db, doc}, query);
}

CouchConnectionParameters CouchConnectionParameters::toDesignDocumentUrl(const string& db, const string& designDoc,
                                                                         const StringPairList& query) const {
  return qx::impl::Extended(*this, {db, "_design", designDoc}, query);
}

}  // namespace qx::couch
