#pragma once

#include "netweft/base/system/qxVariant.h"

namespace qx::elasticsearch {

/// The body of a `_search` for documents by the terms of their fields "id" and "type": one group for each type, in the
/// order of the types, with the ids in theirs. `idToType` must not be empty. An empty type makes a group without a
/// filter.
///
///   {"_source":<sourceFields>,
///    "query":{"bool":{"should":[{"bool":{"filter":{"term":{"type":"t"}},"must":{"terms":{"id":["a","b"]}}}}]}},
///    "size":2}
///
/// "_source" is left out when `sourceFields` holds nothing.
bytes BuildSearchBody(const map<string, string>& idToType, const qxVariant& sourceFields);

}  // namespace qx::elasticsearch
