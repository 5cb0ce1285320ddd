#pragma once

#include <string_view>

namespace qx::http::impl {

/// Follows the header lines of one transfer. libcurl takes a connection that ends within a response's head, behind the
/// status line, for the end of a response without a body, and calls the transfer good: only the missing empty line
/// tells.
class ResponseHead {
 public:
  /// A line with its end, as libcurl hands it over. Trailers of a chunked body change nothing; another status line
  /// (behind a redirect, an authentication round, a proxy's answer) begins another head.
  void addLine(std::string_view line) noexcept {
    if (line.starts_with("HTTP/")) mIsOpen = true;
    if (line == "\r\n" || line == "\n") mIsOpen = false;
  }
  /// Once the transfer is over: the last head never ended.
  bool isBrokenOff() const noexcept { return mIsOpen; }

  /// For the text of the failure.
  static constexpr const char* sMessage = "The connection ended within the headers of the answer";

 private:
  bool mIsOpen = false;
};

}  // namespace qx::http::impl
