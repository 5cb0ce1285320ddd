#include "netweft/base/system/SystemError.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

namespace qx {
namespace {

TEST(SystemError, MessageIsThatOfTheSystem) {
  for (int code : {ENOENT, ECONNREFUSED, ETIMEDOUT}) EXPECT_EQ(SystemError(code).toString(), std::strerror(code));
}

TEST(SystemError, UnknownCodeHasAMessageToo) { EXPECT_NE(SystemError(999999).toString(), ""); }

}  // namespace
}  // namespace qx
