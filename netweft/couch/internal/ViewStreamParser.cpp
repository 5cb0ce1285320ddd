#include "netweft/couch/internal/ViewStreamParser.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxLogObject.h"

namespace qx::couch {

namespace {

constexpr bool sNeverCanceled = false;

/// A row opens at the second brace, inside the one bracket of "rows": {"rows":[{
constexpr uint32 sRowBraces = 2;
constexpr uint32 sRowBrackets = 1;

const char* FirstMissing(const qxVariantMapImpl& row) {
  if (!row.contains("id")) return "Error while parsing result, missing 'id' entry in json ";
  if (!row.contains("key")) return "Error while parsing result, missing 'key' entry in json ";
  if (!row.contains("value")) return "Error while parsing result, missing 'value' entry in json ";
  return nullptr;
}

}  // namespace

ViewStreamParser::ViewStreamParser(ViewRowCallback rowCallback, void* rowUserData, const bool* rowCancelFlag)
    : callback(rowCallback),
      userData(rowUserData),
      cancelFlag(rowCancelFlag != nullptr ? rowCancelFlag : &sNeverCanceled) {}

bool ViewStreamParser::isCanceled() const { return ReadFlag(*cancelFlag); }

bool ViewStreamParser::scanPiece(const char* data, size_t n) {
  const size_t begin = receiveBuffer.size();
  receiveBuffer.insert(receiveBuffer.end(), data, data + n);
  const char* const text = receiveBuffer.data();
  const char* const end = text + receiveBuffer.size();
  for (const char* here = skipPlain(text + begin, end); here != end; here = skipPlain(here + 1, end)) {
    if (!scanByte(*here, static_cast<size_t>(here - text))) return false;
  }
  if (rowStart != 0) {
    receiveBuffer.erase(receiveBuffer.begin(), receiveBuffer.begin() + static_cast<std::ptrdiff_t>(rowStart));
    rowStart = 0;
  }
  return true;
}

inline const char* ViewStreamParser::skipPlain(const char* here, const char* end) const noexcept {
  if (escaped) return here;
  return inString ? json::FindQuoteOrBackslash(here, end) : json::FindBracketOrQuote(here, end);
}

inline bool ViewStreamParser::scanByte(char byte, size_t offset) {
  if (escaped) {
    escaped = false;
    return true;
  }
  bool goOn = true;
  if (byte == '"') {
    inString = !inString;
  } else if (!inString) {
    switch (byte) {
      case '[': ++squareBracketCounter; break;
      case ']': --squareBracketCounter; break;
      case '{':
        if (++bracketCounter == sRowBraces && squareBracketCounter == sRowBrackets) rowStart = offset;
        break;
      case '}': goOn = closeBrace(offset); break;
      default: break;
    }
  }
  escaped = byte == '\\';
  return goOn;
}

bool ViewStreamParser::closeBrace(size_t offset) {
  const bool rowEnds = bracketCounter == sRowBraces && squareBracketCounter == sRowBrackets && callback != nullptr;
  if (rowEnds && !deliverRow(offset)) return false;
  ended = --bracketCounter == 0;
  return true;
}

bool ViewStreamParser::deliverRow(size_t end) {
  ++rowCount;
  const char* text = receiveBuffer.data() + rowStart;
  const size_t length = end + 1 - rowStart;
  qxVariantMapImpl row;
  if (!json::Json2Variant::Convert(text, length, row)) {
    LogError() << "Error while parsing result, invalid json " << CutForLog(string(text, length));
    return false;
  }
  if (FirstMissing(row) != nullptr) return reportIncompleteRow(row, string(text, length));
  if (!callback(row.getString("id", {}), row["key"], row["value"], userData)) return false;
  rowStart = end;
  return true;
}

bool ViewStreamParser::reportIncompleteRow(const qxVariantMapImpl& row, const string& text) const {
  LogDetail("") << "On error BracketCounter " << bracketCounter << ", SquareBracketCounter " << squareBracketCounter
                << ", cancelflag " << isCanceled();
  LogError() << FirstMissing(row) << CutForLog(text);
  return false;
}

}  // namespace qx::couch
