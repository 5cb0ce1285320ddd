#pragma once

#include <functional>
#include <initializer_list>

namespace qx::couch::test {

/// True when the objects at these addresses lie in that order: the order of a record's fields is part of its binary
/// interface.
inline bool AreInOrder(std::initializer_list<const void*> fields) {
  const void* last = nullptr;
  for (const void* field : fields) {
    if (last != nullptr && !std::less<const void*>()(last, field)) return false;
    last = field;
  }
  return true;
}

}  // namespace qx::couch::test
