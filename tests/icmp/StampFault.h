#pragma once

namespace qx::test {

/// While it lives, the kernel's stamps of arrivals are missing or wrong: recvmsg is replaced at link time. One at a
/// time.
class StampFault {
 public:
  enum class Kind { None, Missing, AnHourEarlier, AnHourLater };

  explicit StampFault(Kind kind);
  StampFault(const StampFault&) = delete;
  StampFault& operator=(const StampFault&) = delete;
  ~StampFault();

  /// Messages whose stamp it has touched.
  int countTouched() const;
};

}  // namespace qx::test
