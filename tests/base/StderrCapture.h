#pragma once

#include <string>
#include <vector>

namespace qx::test {

/// While it lives, stderr is a socket that keeps the bounds between writes. One at a time; lines of up to a few hundred
/// KiB in all.
class StderrCapture {
 public:
  StderrCapture();
  StderrCapture(const StderrCapture&) = delete;
  StderrCapture& operator=(const StderrCapture&) = delete;
  ~StderrCapture();

  /// What was written so far and not yet taken, one text for each write.
  std::vector<std::string> takeWrites();

 private:
  int mReadEnd = -1;
  int mPrevious = -1;
};

}  // namespace qx::test
