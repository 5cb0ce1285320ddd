#include "fuzz/Input.h"
#include "fuzz/Require.h"
#include "fuzz/Target.h"
#include "netweft/base/system/qxStringUtils.h"
#include "netweft/river/internal/CdbRev.h"

#include <algorithm>

/// A revision as CouchDB writes it is read whole, so that two are equal when their texts are, and what is read of any
/// other text can be written and read again. The input is two lines, each a revision.
namespace qx::fuzz {
namespace {

using couch::CdbRev;

string Write(const CdbRev& rev) {
  string hash;
  qxStringUtils::ToHex(reinterpret_cast<const char*>(rev.revHash), sizeof rev.revHash, hash);
  return qxStringUtils::fromUInt64(rev.revNumber, 1) + "-" + hash;
}

/// As CouchDB writes it: a number without a zero in front, a dash, 32 digits in lower case.
bool IsCanonical(std::string_view text) {
  constexpr size_t hashDigits = 32;
  const size_t dash = text.find('-');
  if (dash == std::string_view::npos || dash == 0 || dash > 9 || text.front() == '0') return false;
  const std::string_view hash = text.substr(dash + 1);
  return text.substr(0, dash).find_first_not_of("0123456789") == std::string_view::npos && hash.size() == hashDigits &&
         hash.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

CdbRev CheckOne(const string& text) {
  const CdbRev rev = CdbRev::Parse(text);
  const string written = Write(rev);
  if (IsCanonical(text)) Require(written == text, "a revision is read whole");
  if (text.empty()) Require(rev == CdbRev(), "no text is no revision");
  Require(rev.revNumber <= 0xFFFFFFFF, "a revision's number has 32 bits");
  Require(CdbRev::Parse(written) == rev, "what was read is written and read again");
  return rev;
}

void Check(std::string_view bytes) {
  Input input(bytes);
  const string first(input.takeLine());
  const string second(input.takeLine());
  const bool areEqual = CheckOne(first) == CheckOne(second);
  if (IsCanonical(first) && IsCanonical(second)) {
    Require(areEqual == (first == second), "revisions are equal when their texts are");
  }
}

const Target sTarget("revision", Check);

}  // namespace
}  // namespace qx::fuzz
