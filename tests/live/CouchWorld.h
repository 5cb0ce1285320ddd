#pragma once

#include "netweft/frame/Netweft.h"
#include "tests/live/LiveWorld.h"

namespace qx::test {

/// A live world of CouchDB alone.
class CouchWorld : public LiveWorld {
 public:
  static void SetUpTestSuite() {
    initializeNetweft(true, http::HNRP_Whatever, http::PP_NoProxy);
    sCouch = std::make_unique<LiveServer>("couchdb", true);
  }

 protected:
  void SetUp() override {
    if (!couch().isRunning()) GTEST_SKIP() << "CouchDB cannot be had on this machine";
  }
};

}  // namespace qx::test
