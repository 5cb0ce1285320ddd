#pragma once

#include <cstddef>
#include <cstring>

namespace qx::test {

/// Place of a virtual operation in the table, as a pointer to member tells it in the Itanium ABI: one plus the offset
/// in bytes. The destructor takes two places, 0 and 1.
template <class Member>
std::ptrdiff_t VirtualSlot(Member member) {
  std::ptrdiff_t encoded = 0;
  std::memcpy(&encoded, &member, sizeof(encoded));
  return (encoded - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

}  // namespace qx::test
