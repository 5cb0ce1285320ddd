#pragma once

#include "netweft/base/system/qxVariant.h"

namespace qx::couch {

/// Tells whether an index with the mapping `stored` can take the mapping `wanted` in place. The policy: an index may
/// only ever grow. New properties are accepted where the branch is not dynamic on either side; anything removed or
/// changed refuses, and so does an attribute added.
///
/// True: `delta`, which comes in empty, holds what must be sent to Elasticsearch, and stays empty when that is nothing.
/// False: `reason` holds why; `delta` is to be discarded.
///
/// `storedDynamic` and `wantedDynamic` are what the branch inherits where it has no "dynamic" of its own; `path` is
/// where it stands, with a slash at its end. The caller begins with true, true and "/".
bool compareMappings(const qxVariantMapImpl& stored, const qxVariantMapImpl& wanted, qxVariantMapImpl& delta,
                     string& reason, bool storedDynamic, bool wantedDynamic, const string& path);

}  // namespace qx::couch
