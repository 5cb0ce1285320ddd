#pragma once

#include "netweft/base/system/qxVariant.h"
#include "netweft/jwt/internal/KeyRecords.h"

namespace qx::jwt {

/// Puts every key of a JSON Web Key Set with an identifier into the records, rejected ones too. What has no identifier
/// is a warning in the log and stops nothing. The key of an identifier that is there already is not even looked at.
void ReadKeySet(const qxVariantMapImpl& keySet, KeyRecords& records);

}  // namespace qx::jwt
