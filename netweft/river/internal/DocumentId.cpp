#include "netweft/river/internal/DocumentId.h"

#include <cstring>
#include <limits>
#include <new>

namespace qx::couch {

DocumentId::DocumentId(std::string_view text) {
  if (text.empty()) return;
  if (text.size() > std::numeric_limits<uint32>::max()) throw std::bad_alloc();
  const uint32 length = static_cast<uint32>(text.size());
  mBlock = std::make_unique_for_overwrite<char[]>(sizeof length + text.size() + 1);
  std::memcpy(mBlock.get(), &length, sizeof length);
  std::memcpy(mBlock.get() + sizeof length, text.data(), text.size());
  mBlock[sizeof length + text.size()] = '\0';
}

std::string_view DocumentId::view() const noexcept {
  if (mBlock == nullptr) return "";
  uint32 length = 0;
  std::memcpy(&length, mBlock.get(), sizeof length);
  return {mBlock.get() + sizeof length, length};
}

}  // namespace qx::couch
