#pragma once

#include <atomic>

namespace qx {

/// Cancel flags and stop flags are plain `bool` in signatures, written by one thread while another polls
/// them. Both sides go through these two functions, so that the access is a relaxed atomic one and not a
/// data race. The flag orders nothing else: data that belongs to it needs a lock of its own.
inline bool ReadFlag(const bool& flag) noexcept {
  return std::atomic_ref<bool>(const_cast<bool&>(flag)).load(std::memory_order_relaxed);
}

/// Null means that the caller has no flag: never raised.
inline bool ReadFlag(const bool* flag) noexcept { return flag != nullptr && ReadFlag(*flag); }

/// Raises the flag, or takes it back.
inline void StoreFlag(bool& flag, bool value) noexcept {
  std::atomic_ref<bool>(flag).store(value, std::memory_order_relaxed);
}

}  // namespace qx
