#pragma once

#include "netweft/base/json/internal/JsonScan.h"
#include "netweft/base/system/qxTypes.h"
#include "netweft/couch/FetchCouchDbView.h"
#include "netweft/http/internal/ExceptionSlot.h"

namespace qx::couch {

/// The state of one `FetchCouchDbView` call: the request's body, and a scanner that finds the rows of a view in the
/// bytes of the response by counting braces and brackets. Each byte is looked at once and only a row's own text is
/// parsed. One thread.
struct ViewStreamParser {
  /// `rowCancelFlag` may be null.
  ViewStreamParser(ViewRowCallback rowCallback, void* rowUserData, const bool* rowCancelFlag);

  /// Takes the next bytes of the response and delivers the rows that end in them. False when the fetch is to end: a row
  /// was malformed (which is logged) or the callback wanted no more. Lets the callback's exceptions through.
  bool scan(const char* data, size_t n) {
    // A plain byte that comes alone is only stored, which is nearly all the work of a response in single bytes.
    if (n != 1 || !isPlain(*data)) return scanPiece(data, n);
    receiveBuffer.push_back(*data);
    return true;
  }

  bool isCanceled() const;

  unique_ptr<bytes> body;           ///< null: the request is a GET
  uint32 bracketCounter = 0;        ///< depth of "{" outside strings
  uint32 squareBracketCounter = 0;  ///< depth of "[" outside strings
  bool inString = false;
  bool escaped = false;      ///< the byte before was a backslash
  bool ended = false;        ///< the outermost "{" was closed
  size_t rowStart = 0;       ///< offset in `receiveBuffer` of the first byte to keep
  size_t bodyOffset = 0;     ///< bytes of `body` already handed to the transport
  bytes receiveBuffer;       ///< received bytes not yet dropped
  uint64 rowCount = 0;       ///< rows completed
  ViewRowCallback callback;  ///< null: rows are not looked at
  void* userData;
  const bool* cancelFlag;                ///< never null
  http::impl::ExceptionSlot exceptions;  ///< what the callback threw inside the transfer

 private:
  bool scanPiece(const char* data, size_t n);
  /// Whether the next byte changes nothing.
  bool isPlain(char byte) const noexcept {
    return !escaped && !(inString ? json::IsQuoteOrBackslash(byte) : json::IsBracketOrQuote(byte));
  }
  /// The next byte in [here, end) that changes anything, or `end`.
  const char* skipPlain(const char* here, const char* end) const noexcept;
  bool scanByte(char byte, size_t offset);
  bool closeBrace(size_t offset);
  bool deliverRow(size_t end);
  bool reportIncompleteRow(const qxVariantMapImpl& row, const string& text) const;
};

}  // namespace qx::couch
