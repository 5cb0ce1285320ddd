#include "netweft/elasticsearch/internal/JsonToUtf8.h"

#include "fuzz/Require.h"
#include "fuzz/Target.h"
#include "netweft/base/json/Json2Variant.h"

#include <utf8.h>

/// The text behind a JSON string is valid UTF-8, no longer than its source, the same whether it is written over the
/// source or beside it, and the same that the reader of whole JSON texts gives.
namespace qx::fuzz {
namespace {

struct Conversion {
  bool operator==(const Conversion& other) const = default;

  bool isGood = false;
  string text;
  string error;
};

/// `target` is as long as the text, and may be where the text is.
Conversion Convert(const vector<char>& text, vector<char>& target) {
  Conversion result;
  const char* begin = target.data();
  const char* end = elasticsearch::json_to_utf8(text.data(), text.data() + text.size(), target.data(),
                                                target.data() + target.size(), &result.error);
  result.isGood = end != nullptr || text.empty();
  if (end != nullptr) result.text.assign(begin, end);
  return result;
}

void CheckString(const string& escaped, const Conversion& result) {
  const string list = "[\"" + escaped + "\"]";
  qxVariantListImpl read;
  if (!json::Json2Variant::Convert(list.data(), list.size(), read) || read.size() != 1) return;
  // Pairs of surrogates are refused here.
  if (escaped.find("\\ud") != string::npos || escaped.find("\\uD") != string::npos) return;
  Require(result.isGood && result.text == read[0].getString(), "a JSON string is converted to its text");
}

void CheckText(std::string_view bytes) {
  const vector<char> text(bytes.begin(), bytes.end());
  vector<char> beside(text.size());
  vector<char> over = text;
  const Conversion result = Convert(text, beside);
  Require(Convert(over, over) == result, "a text may be converted in its own place");
  Require(result.isGood == result.error.empty(), "a failure has a reason");
  Require(utf8::is_valid(result.text.begin(), result.text.end()), "what is converted is UTF-8");
  CheckString(string(bytes), result);
}

const Target sTarget("json_to_utf8", CheckText);

}  // namespace
}  // namespace qx::fuzz
