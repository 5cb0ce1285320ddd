#include "tests/base/StderrCapture.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace qx::test {

StderrCapture::StderrCapture() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) std::abort();
  std::fflush(stderr);
  mPrevious = dup(STDERR_FILENO);
  dup2(ends[1], STDERR_FILENO);
  close(ends[1]);
  mReadEnd = ends[0];
}

StderrCapture::~StderrCapture() {
  dup2(mPrevious, STDERR_FILENO);
  close(mPrevious);
  close(mReadEnd);
}

std::vector<std::string> StderrCapture::takeWrites() {
  std::vector<std::string> writes;
  std::vector<char> buffer(256 * 1024);
  for (;;) {
    const ssize_t size = recv(mReadEnd, buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (size <= 0) return writes;
    writes.emplace_back(buffer.data(), static_cast<size_t>(size));
  }
}

}  // namespace qx::test
