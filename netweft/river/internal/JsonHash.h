#pragma once

#include "netweft/base/system/qxVariant.h"

namespace qx::couch {

/// A fingerprint of a JSON object, as text: the base64 form of the SHA-1 of its compact JSON. Members are sorted, so
/// the order in which a map was filled makes no difference. Stable between runs; never used for security.
string hashJson(const qxVariantMapImpl& map);

}  // namespace qx::couch
