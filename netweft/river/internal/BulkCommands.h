#pragma once

#include "netweft/base/system/qxTypes.h"

/// The lines of a bulk body: newline-delimited JSON, a header per command and the document behind an index header.
///
///   {"index":{"_id":"<escaped id>"}}
///   <document>
///   {"delete":{"_id":"<escaped id>"}}
namespace qx {
class qxIoDevice;
}

namespace qx::couch {

/// Bytes that one command adds to a bulk body, line ends included.
uint64 IndexCommandBytes(const string& id, uint64 documentSize);
uint64 DeleteCommandBytes(const string& id);

/// Write one line.
void WriteIndexHeader(qxIoDevice& out, const string& id);
void WriteDeleteHeader(qxIoDevice& out, const string& id);

}  // namespace qx::couch
