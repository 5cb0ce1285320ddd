#pragma once

#include "netweft/frame/Netweft.h"

#include <gtest/gtest.h>

namespace qx::test {

/// The library is initialised for the length of each test, with the plainest defaults.
class LibraryFixture : public testing::Test {
 protected:
  LibraryFixture() { initializeNetweft(true, http::HNRP_Whatever, http::PP_NoProxy); }
  ~LibraryFixture() override {
    SetDefaultProxyPolicy(http::PP_NoProxy);  // the one default that outlives the library
    terminateNetweft();
  }
};

}  // namespace qx::test
