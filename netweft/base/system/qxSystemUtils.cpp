#include "netweft/base/system/qxSystemUtils.h"

#include "netweft/base/system/internal/Clock.h"
#include "netweft/base/system/qxLogObject.h"

#include <openssl/rand.h>

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace qx {

int64 qxSystemUtils::GetSecElapsedSinceEpoch() { return impl::ClockEpochMs() / 1000; }

int64 qxSystemUtils::GetTimeBaseSec() { return impl::ClockMonotonicMs() / 1000; }

int64 qxSystemUtils::GetTimeBaseMs() { return impl::ClockMonotonicMs(); }

void qxSystemUtils::Rand(char* dst, uint64 n) {
  constexpr uint64 largestPiece = std::numeric_limits<int>::max();
  while (n != 0) {
    const uint64 piece = std::min(n, largestPiece);
    if (RAND_priv_bytes(reinterpret_cast<unsigned char*>(dst), static_cast<int>(piece)) != 1) {
      LogError() << "The system gives no random bytes";
      std::abort();
    }
    dst += piece;
    n -= piece;
  }
}

}  // namespace qx
