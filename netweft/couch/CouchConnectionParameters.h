#pragma once

#include "netweft/addressing/Url.h"
#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

namespace qx::couch {

/// Names a CouchDB server: the URL of the server's root, with its credentials, from which the URLs of databases and
/// documents are made. A server that is mounted under a path keeps that path's segments.
///
/// Leave the slash off at the end of a server's or database's URL: it is one more, empty, path segment, and every URL
/// derived from it has a double slash.
///
/// Threads: a plain value with no lock, as `Url` is.
class NETWEFT_EXPORT CouchConnectionParameters : public Url {
 public:
  /// A server on http://127.0.0.1:80.
  CouchConnectionParameters();
  /// The server whose root has that URL.
  CouchConnectionParameters(const Url& url);
  /// A plain copy.
  CouchConnectionParameters(const CouchConnectionParameters& other);
  ~CouchConnectionParameters() override;
  CouchConnectionParameters& operator=(const CouchConnectionParameters& other);

  /// Splits the URL of a database in two: the last path segment becomes `*dbName`, everything before it `*out`.
  /// `dbName` may be null and is emptied first. True when `*out` then names a server. False, with `*out` empty, for a
  /// text that is no URL and for a URL without a path; false for a null `out`.
  static bool BuildFromDbUrl(CouchConnectionParameters* out, string* dbName, const string& url);

  /// This server's URL with path segments added. Each name is one segment whatever it holds: a "/" in it travels
  /// escaped. `query` replaces the query that this URL has, so an empty list drops it. What lies below a database
  /// ("_changes", "_bulk_docs") is reached as a document.
  CouchConnectionParameters toDatabaseUrl(const string& db, const StringPairList& query) const;
  CouchConnectionParameters toDocumentUrl(const string& db, const string& doc, const StringPairList& query) const;
  CouchConnectionParameters toDesignDocumentUrl(const string& db, const string& designDoc,
                                                const StringPairList& query) const;
};

}  // namespace qx::couch
