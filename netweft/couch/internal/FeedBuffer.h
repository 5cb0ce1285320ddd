#pragma once

#include "netweft/base/system/qxTypes.h"

#include <string_view>

namespace qx::couch {

/// Received bytes, cut into lines at line feeds. It remembers how far it has looked for the end of a line, so that a
/// line that arrives in many pieces is searched once. One thread.
class FeedBuffer {
 public:
  void clear() noexcept;
  void append(const char* data, size_t n);

  /// Drops the line feeds that stand first.
  void skipLineFeeds() noexcept;

  /// Takes the next whole line, without its line feed. False, with `line` untouched, when there is none. The line is
  /// valid until the next `append` or `clear`.
  bool takeLine(std::string_view& line) noexcept;

  /// What was not taken.
  std::string_view view() const noexcept;

 private:
  bytes mBytes;
  size_t mTaken = 0;     ///< bytes at the front that were taken; dropped by the next append
  size_t mSearched = 0;  ///< no line feed stands between `mTaken` and here
};

}  // namespace qx::couch
