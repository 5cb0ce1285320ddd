#pragma once

namespace qx::impl {

/// The pair of host callbacks that make and destroy what a worker thread of `Owner` keeps for itself. One without the
/// other would leak or destroy nothing, so a lone one is dropped.
template <class Owner>
struct ThreadDataCallbacks {
  using Callback = void (*)(Owner& owner, void* userData, void*& threadData);

  ThreadDataCallbacks(Callback creating, Callback deleting) noexcept
      : create(deleting != nullptr ? creating : nullptr), destroy(creating != nullptr ? deleting : nullptr) {}

  Callback create;
  Callback destroy;
};

/// One worker's thread data: made just before it is needed for the first time, destroyed at the thread's end if it was
/// made. To be used from that thread alone, without a lock.
template <class Owner>
class ThreadData {
 public:
  /// Asks the host for the data while it is null; so a host that made none is asked again.
  void make(const ThreadDataCallbacks<Owner>& callbacks, Owner& owner, void* userData) {
    if (callbacks.create != nullptr && mData == nullptr) callbacks.create(owner, userData, mData);
  }

  void destroy(const ThreadDataCallbacks<Owner>& callbacks, Owner& owner, void* userData) {
    if (callbacks.destroy != nullptr && mData != nullptr) callbacks.destroy(owner, userData, mData);
  }

  /// Null before it was made, and when there are no callbacks.
  void* get() const noexcept { return mData; }

 private:
  void* mData = nullptr;
};

}  // namespace qx::impl
