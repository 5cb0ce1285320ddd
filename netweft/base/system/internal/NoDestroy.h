#pragma once

#include <utility>

namespace qx::impl {

/// A static object that is never destroyed, so that it serves the destructors of other static objects too. What it
/// owns stays reachable.
template <class T>
class NoDestroy {
 public:
  template <class... Args>
  explicit NoDestroy(Args&&... args) : mValue(std::forward<Args>(args)...) {}
  NoDestroy(const NoDestroy&) = delete;
  NoDestroy& operator=(const NoDestroy&) = delete;
  ~NoDestroy() {}

  T& get() noexcept { return mValue; }

 private:
  union {
    T mValue;
  };
};

}  // namespace qx::impl
