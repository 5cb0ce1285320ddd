#pragma once

#include "netweft/base/system/qxVariant.h"

namespace qx::couch {

/// Sets `meta["mappingzip"]` to `mapping`, so that an index carries the mapping it was built with: the size of the
/// compact JSON as four little-endian bytes, the JSON in zlib's format, all of it as base64. The empty text when
/// compression fails.
void compressMapping(const qxVariantMapImpl& mapping, qxVariantMapImpl& meta);

/// The mapping kept there; empty when there is none or it cannot be read. A text that claims a larger mapping than its
/// bytes can hold counts as unreadable, so that a forged one cannot claim gigabytes of memory.
qxVariantMapImpl decompressMapping(const qxVariantMapImpl& meta);

}  // namespace qx::couch
