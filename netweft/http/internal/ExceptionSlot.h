#pragma once

#include <exception>
#include <utility>

namespace qx::http::impl {

/// Carries an exception past a C library. A callback that threw would unwind through C: so its body runs inside `run`,
/// which keeps the first exception and gives the value that ends the transfer; the caller of the transfer calls
/// `rethrow` once the C library has returned. One thread.
class ExceptionSlot {
 public:
  template <class Result, class Body>
  Result run(Result onException, Body&& body) noexcept {
    try {
      return std::forward<Body>(body)();
    } catch (...) {
      if (mException == nullptr) mException = std::current_exception();
      return onException;
    }
  }

  bool isEmpty() const noexcept { return mException == nullptr; }

  /// Does nothing when there is none; empties the slot.
  void rethrow() {
    if (mException != nullptr) std::rethrow_exception(std::exchange(mException, nullptr));
  }

 private:
  std::exception_ptr mException;
};

}  // namespace qx::http::impl
