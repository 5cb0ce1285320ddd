// Any bytes: the conversion must stay inside its buffers, give the same in place as from one buffer to another, and
// give valid UTF-8 that is no longer than its source.

#include "netweft/elasticsearch/internal/JsonToUtf8.h"

#include <utf8.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using qx::elasticsearch::json_to_utf8;
  const std::vector<char> text(data, data + size);
  std::vector<char> out(size);
  std::string error;
  const char* end = json_to_utf8(text.data(), text.data() + size, out.data(), out.data() + size, &error);

  std::vector<char> inPlace = text;
  std::string inPlaceError;
  const char* inPlaceEnd =
      json_to_utf8(inPlace.data(), inPlace.data() + size, inPlace.data(), inPlace.data() + size, &inPlaceError);

  if (error != inPlaceError || (end == nullptr && size != 0) != !error.empty()) std::abort();
  if (end == nullptr || inPlaceEnd == nullptr) return 0;
  if (std::string(const_cast<const char*>(out.data()), end) !=
      std::string(const_cast<const char*>(inPlace.data()), inPlaceEnd)) {
    std::abort();
  }
  if (!utf8::is_valid(const_cast<const char*>(out.data()), end)) std::abort();
  return 0;
}
