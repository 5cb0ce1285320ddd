#pragma once

#include "netweft/river/IndexDefinition.h"

/// What an index says about itself, in the `_meta` object of its mapping:
///
///   lastrefreshseq      integer, the last sequence made visible by a refresh; 0 after a creation or a widening
///   lastrefreshdate     when that was, for a human reader; empty after a creation or a widening
///   sourcedbname        the database that feeds it
///   mappinghash         fingerprint of the wanted mapping
///   settingshash        fingerprint of the wanted settings
///   applicationversion  as the host wants it
///   mappingrevision     as the host wants it
///   creationdescriptor  the physical creation; empty until the creation has been completed
///   mappingzip          the wanted mapping
namespace qx::couch {

/// The `_meta` of an index out of the reply to a GET of its `_mapping`; empty when there is none.
qxVariantMapImpl findIndexMeta(const string& indexName, const qxVariantMapImpl& mappingReply);

/// The sequence stored there; 0 when there is none, and for a number below 0.
uint64 readLastRefreshSeq(const qxVariantMapImpl& meta);

/// What a new index is created with: its settings, and its mapping with the whole `_meta`, where a host's own keys stay
/// beside those above.
qxVariantMapImpl buildCreationBody(const IndexDefinition& definition);

/// What a `_meta` becomes when the mapping of its index is widened to the wanted one: a full feed starts over, so that
/// the new fields fill up.
void renewIndexMeta(const IndexDefinition& definition, qxVariantMapImpl& meta);

}  // namespace qx::couch
