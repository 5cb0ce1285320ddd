#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxVariant.h"

namespace qx {
class qxIoDevice;
}

namespace qx::json {

/// JSON text to dynamic values and back. All operations are static and may run on any thread at once.
///
/// Reading accepts any valid JSON text whose outermost value is of the kind asked for, with white space around it and
/// nothing else behind it. It refuses text that is not UTF-8 and more than 1,000 levels of nesting. Of duplicate names
/// the last wins. A number of digits alone in the signed 64-bit range becomes an integer; every other number, of any
/// size, keeps its literal text and is written back byte for byte. A lone surrogate that comes as an escape is kept (in
/// memory as the three bytes that UTF-8 would give it) and written back as an escape.
///
/// Writing is compact and stable: the same value gives the same bytes, members in ascending order of their names. It
/// escapes only what JSON requires, each in its shortest form, and never "/". What was read is never written longer
/// than its own compact form. Absent members are left out, absent list elements become `null`. Bytes of a host's string
/// that are not UTF-8 are written as the replacement character; a double that is not finite is written as `null`.
class NETWEFT_EXPORT Json2Variant {
 public:
  /// Replace `out`. False on malformed input, which leaves `out` in an unspecified state: discard it. `text` need not
  /// be terminated; null with `n` 0 is malformed.
  static bool Convert(const char* text, uint64 n, qxVariantMapImpl& out);
  static bool Convert(const char* text, uint64 n, qxVariantListImpl& out);

  /// Replaces `out` by the JSON text. `pretty` indents by two blanks. True.
  static bool Convert(const qxVariantMapImpl& map, string& out, bool pretty);
  static bool Convert(const qxVariantListImpl& list, string& out, bool pretty);
  static bool Convert(const qxVariantMapImpl& map, bytes& out, bool pretty);

  /// Writes to a device, which stays the caller's; false when the device has an error or takes too little.
  static bool Convert(const qxVariantMapImpl& map, qxIoDevice* out, bool pretty);
};

}  // namespace qx::json
