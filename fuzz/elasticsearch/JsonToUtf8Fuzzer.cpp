#include "netweft/elasticsearch/internal/JsonToUtf8.h"

#include "fuzz/Require.h"
#include "fuzz/Target.h"

#include <utf8.h>

/// The text behind a JSON string is valid UTF-8, no longer than its source, and the same whether it is written over the
/// source or beside it.
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

void CheckText(std::string_view bytes) {
  const vector<char> text(bytes.begin(), bytes.end());
  vector<char> beside(text.size());
  vector<char> over = text;
  const Conversion result = Convert(text, beside);
  Require(Convert(over, over) == result, "a text may be converted in its own place");
  Require(result.isGood == result.error.empty(), "a failure has a reason");
  Require(utf8::is_valid(result.text.begin(), result.text.end()), "what is converted is UTF-8");
}

const Target sTarget("json_to_utf8", CheckText);

}  // namespace
}  // namespace qx::fuzz
