#pragma once

/// Named moments of the library's work at which a test can end the process. Only builds for tests have them
/// (NETWEFT_FAIL_POINTS): elsewhere passing one is no instruction at all, and nothing of this is in the library.
namespace qx::impl {

#if defined(NETWEFT_FAIL_POINTS)
inline constexpr bool sHasFailPoints = true;
#else
inline constexpr bool sHasFailPoints = false;
#endif

/// Runs on the thread that passes the moment, whatever locks that one holds.
using FailPointHandler = void (*)(const char* name);

/// Null, as at the start, lets every moment pass. Any thread.
void SetFailPointHandler(FailPointHandler handler) noexcept;

void ReachFailPoint(const char* name);

inline void PassFailPoint([[maybe_unused]] const char* name) {
  if constexpr (sHasFailPoints) ReachFailPoint(name);
}

}  // namespace qx::impl
