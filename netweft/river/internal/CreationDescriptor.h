#pragma once

#include "netweft/base/system/qxVariant.h"

namespace qx::couch {

/// Identifies one physical creation of an index, "<creation_date>_<uuid>", out of the reply to a GET of its
/// `_settings`. An index that was dropped and created again, or restored, has another one. Empty when the reply lacks
/// either value.
string buildCreationDescriptor(const string& indexName, const qxVariantMapImpl& settingsReply);

}  // namespace qx::couch
