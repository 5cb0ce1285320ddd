#include "netweft/river/internal/CdbRev.h"

#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxStringUtils.h"

#include <limits>

namespace qx::couch {

namespace {

constexpr size_t sHashDigits = 32;

bool ParseRevNumber(const string& text, uint64& out) {
  int64 number = 0;
  if (!qxStringUtils::ParseInt64(text, 0, number)) return false;
  if (number < 0 || number > std::numeric_limits<uint32>::max()) return false;
  out = static_cast<uint64>(number);
  return true;
}

bool ParseInto(const string& text, CdbRev& rev) {
  const size_t dash = text.find('-');
  if (dash == string::npos || text.size() - dash != 1 + sHashDigits) return false;
  return ParseRevNumber(text.substr(0, dash), rev.revNumber) &&
         qxStringUtils::UUIDToBinary(text.substr(dash + 1), rev.revHash);
}

}  // namespace

CdbRev CdbRev::Parse(const string& text) {
  CdbRev rev;
  if (!text.empty() && !ParseInto(text, rev)) LogError() << "CdbRev fail to parse rev " << CutForLog(text);
  return rev;
}

}  // namespace qx::couch
