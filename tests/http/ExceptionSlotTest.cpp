#include "netweft/http/internal/ExceptionSlot.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

namespace qx::test {
namespace {

using http::impl::ExceptionSlot;

TEST(ExceptionSlotTest, ABodyThatReturnsGivesItsOwnValue) {
  ExceptionSlot slot;
  EXPECT_EQ(slot.run(-1, [] { return 5; }), 5);
  EXPECT_TRUE(slot.isEmpty());
  EXPECT_NO_THROW(slot.rethrow());
}

TEST(ExceptionSlotTest, ABodyThatThrowsGivesTheValueThatEndsTheTransfer) {
  ExceptionSlot slot;
  EXPECT_EQ(slot.run(-1, []() -> int { throw std::bad_alloc(); }), -1);
  EXPECT_FALSE(slot.isEmpty());
  EXPECT_THROW(slot.rethrow(), std::bad_alloc);
}

TEST(ExceptionSlotTest, TheFirstExceptionIsTheOneThatIsKept) {
  ExceptionSlot slot;
  slot.run(0, []() -> int { throw std::bad_alloc(); });
  slot.run(0, []() -> int { throw std::runtime_error("later"); });
  EXPECT_THROW(slot.rethrow(), std::bad_alloc);
}

TEST(ExceptionSlotTest, RethrowingEmptiesTheSlot) {
  ExceptionSlot slot;
  slot.run(0, []() -> int { throw std::bad_alloc(); });
  EXPECT_THROW(slot.rethrow(), std::bad_alloc);
  EXPECT_TRUE(slot.isEmpty());
  EXPECT_NO_THROW(slot.rethrow());
}

}  // namespace
}  // namespace qx::test
