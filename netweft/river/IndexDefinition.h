#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxVariant.h"

namespace qx::couch {

/// What a host wants of one Elasticsearch index: which database feeds it, and in which shape it is to stand. A plain
/// value with no lock; the manager keeps a copy of its own.
struct NETWEFT_EXPORT IndexDefinition {
  /// The source CouchDB database. Several indexes may name the same one; they then receive the same documents.
  string dbName;

  /// The target Elasticsearch index, unique over the whole manager. It must be one concrete name: a pattern, a list of
  /// names, `_all`, a name that begins with "_", "-" or "+", and one with white space or one of * ? , < > | " \ # / are
  /// refused before any request is made, and Elasticsearch itself takes lower-case letters alone.
  string indexName;

  /// The wanted mapping of the type `_doc`: the object that goes under "mappings/_doc". State "dynamic" false in a
  /// branch that is to grow later without the index being built anew. What it holds under "_meta" is written when the
  /// index is created, beside the manager's own keys, which win; later changes there are not looked at.
  qxVariantMapImpl mapping;

  /// The wanted index settings: the object that goes under "settings". Any change recreates the index.
  qxVariantMapImpl settings;

  /// A stamp written to the index as "applicationversion". Any change recreates the index and feeds the whole database
  /// through it again.
  string applicationVersion;

  /// A stamp written to the index as "mappingrevision" when the index is created or its mapping widened. It is never
  /// compared, only handed back by `getIndexInfo`.
  string mappingRevision;
};

}  // namespace qx::couch
