// The test replaces the generator through an interface that OpenSSL 3 keeps for such uses under its old name.
#define OPENSSL_API_COMPAT 0x10100000L

#include "netweft/base/system/qxSystemUtils.h"

#include "netweft/base/system/qxTypes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <openssl/rand.h>
#include <sys/mman.h>

#include <ctime>
#include <limits>

namespace qx {
namespace {

using testing::ElementsAre;

/// While it lives, random bytes come from `fill`, which gets the count and returns the result.
class ScriptedGenerator {
 public:
  using Fill = int (*)(unsigned char* out, int count);

  explicit ScriptedGenerator(Fill fill) : mPrevious(RAND_get_rand_method()) {
    mMethod.bytes = fill;
    RAND_set_rand_method(&mMethod);
  }
  ScriptedGenerator(const ScriptedGenerator&) = delete;
  ScriptedGenerator& operator=(const ScriptedGenerator&) = delete;
  ~ScriptedGenerator() { RAND_set_rand_method(mPrevious); }

 private:
  RAND_METHOD mMethod{};
  const RAND_METHOD* mPrevious;
};

/// Addresses that may not be touched.
class Reservation {
 public:
  explicit Reservation(size_t size)
      : mSize(size), mStart(mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)) {}
  Reservation(const Reservation&) = delete;
  Reservation& operator=(const Reservation&) = delete;
  ~Reservation() {
    if (isHeld()) munmap(mStart, mSize);
  }

  bool isHeld() const { return mStart != MAP_FAILED; }
  char* get() const { return static_cast<char*>(mStart); }

 private:
  size_t mSize;
  void* mStart;
};

vector<pair<unsigned char*, int>> sPieces;

TEST(qxSystemUtils, UnixTimeIsThatOfTheSystemOrLater) {
  // Later when another test of this program has advanced the clock.
  EXPECT_GE(qxSystemUtils::GetSecElapsedSinceEpoch(), static_cast<int64>(std::time(nullptr)) - 1);
}

TEST(qxSystemUtils, SecondsAndMillisecondsAreOneClock) {
  const int64 before = qxSystemUtils::GetTimeBaseMs();
  const int64 seconds = qxSystemUtils::GetTimeBaseSec();
  const int64 after = qxSystemUtils::GetTimeBaseMs();
  EXPECT_GE(seconds, before / 1000);
  EXPECT_LE(seconds, after / 1000);
}

TEST(qxSystemUtils, RandomBytesDifferEachTime) {
  char first[32] = {};
  char second[32] = {};
  qxSystemUtils::Rand(first, sizeof(first));
  qxSystemUtils::Rand(second, sizeof(second));
  EXPECT_NE(string(first, sizeof(first)), string(second, sizeof(second)));
  EXPECT_NE(string(first, sizeof(first)), string(sizeof(first), '\0'));
}

TEST(qxSystemUtils, RandomBytesStayWithinTheirCount) {
  char buffer[8] = {'a', 'a', 'a', 'a', 'a', 'a', 'a', 'a'};
  qxSystemUtils::Rand(buffer, 4);
  EXPECT_EQ(string(buffer + 4, 4), "aaaa");
  qxSystemUtils::Rand(nullptr, 0);
}

TEST(qxSystemUtils, MoreBytesThanAnIntCountsComeInPieces) {
  constexpr uint64 largest = std::numeric_limits<int>::max();
  const Reservation memory(static_cast<size_t>(2 * largest + 5));
  ASSERT_TRUE(memory.isHeld());
  sPieces.clear();
  const ScriptedGenerator generator([](unsigned char* out, int count) {
    sPieces.emplace_back(out, count);
    return 1;
  });
  qxSystemUtils::Rand(memory.get(), 2 * largest + 5);
  auto* start = reinterpret_cast<unsigned char*>(memory.get());
  EXPECT_THAT(sPieces, ElementsAre(pair(start, int{largest}), pair(start + largest, int{largest}),
                                   pair(start + 2 * largest, 5)));
}

TEST(qxSystemUtilsDeathTest, ProcessEndsWhenThereAreNoRandomBytes) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  char buffer[4];
  EXPECT_DEATH(
      {
        const ScriptedGenerator generator([](unsigned char*, int) { return 0; });
        qxSystemUtils::Rand(buffer, sizeof(buffer));
      },
      "gives no random bytes");
}

}  // namespace
}  // namespace qx
