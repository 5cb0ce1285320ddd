#pragma once

#include "netweft/base/system/qxTypes.h"

#include <string_view>

namespace qx::couch {

/// The identifier of a document as a queued change owns it: one pointer, since a quarter of a million stand in a queue.
///
/// A document's identifier may hold a NUL, and a change of "a\0b" must never be taken for one of "a": so the bytes are
/// kept exactly, with their number in front of them, and behind them stands a terminator for debuggers and C functions.
/// Identifiers compare by all their bytes.
class DocumentId {
 public:
  /// The empty identifier; nothing is allocated.
  DocumentId() noexcept = default;

  /// Copies the bytes. More than 4 GiB throw std::bad_alloc.
  explicit DocumentId(std::string_view text);

  /// All the bytes. Valid until the identifier is assigned to or dies; moving it leaves the view valid.
  std::string_view view() const noexcept;

  string toString() const { return string(view()); }

  /// Terminated; never null. Ends early for an identifier that holds a NUL.
  const char* c_str() const noexcept { return view().data(); }

  bool operator==(const DocumentId& other) const noexcept { return view() == other.view(); }

 private:
  /// Four bytes of length, the text, a NUL; null when empty.
  std::unique_ptr<char[]> mBlock;
};

}  // namespace qx::couch
