#include "netweft/addressing/Url.h"
#include "netweft/base/crypto/internal/CertStore.h"
#include "netweft/http/HttpHelpers.h"
#include "tests/http/LibraryFixture.h"
#include "tests/support/FaultyProxy.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/TestCertificates.h"

namespace qx::test {
namespace {

using http::HttpHelpers;

/// Faults in the records of TLS themselves, from the first byte of the handshake to the last of the reply.
class TlsChaosTest : public LibraryFixture {
 protected:
  TlsChaosTest() { EXPECT_TRUE(impl::AddTrustedAuthority(TestCertificates::GetShared().getAuthorityPem())); }

  bool get(string& content) {
    HttpHelpers::HttpResult result;
    result.content = &content;
    http::HttpConnection connection(false);
    // What waits for bytes that were claimed and do not come is given up soon.
    connection.editConnectionParameters().lowSpeedTimeSec = 1;
    connection.editConnectionParameters().connectTimeoutSec = 2;
    return HttpHelpers::HttpGet(connection, Url("https://localhost:" + std::to_string(mProxy.getPort()) + "/a"),
                                &result);
  }

  /// The bytes of a whole connection that the server sends.
  uint64 measure() {
    string content;
    EXPECT_TRUE(get(content));
    return mProxy.getReplyBytes();
  }

  // Random numbers and signatures make the sizes differ by a little from one handshake to the next.
  static constexpr uint64 sStep = 17;

  ScriptedServer mServer{[](const Request&) { return Reply::Http(200, "hello"); },
                         {.tls = TestCertificates::GetShared().createGood()}};
  FaultyProxy mProxy{{.target = mServer.getPort(), .isPerConnection = true}};
};

TEST_F(TlsChaosTest, ACutAnywhereInTheRecordsIsAnError) {
  const uint64 size = measure();
  for (uint64 offset = 0; offset + 64 < size; offset += sStep) {
    mProxy.setFault({.kind = Fault::FK_Cut, .offset = offset});
    string content;
    EXPECT_FALSE(get(content)) << "at byte " << offset;
  }
  mProxy.heal();
  measure();
}

TEST_F(TlsChaosTest, NoByteOfTheRecordsCanBeChangedUnseen) {
  const uint64 size = measure();
  for (uint64 offset = 0; offset < size; offset += sStep) {
    mProxy.setFault({.kind = Fault::FK_Corrupt, .offset = offset, .mask = 0x10});
    string content;
    if (get(content)) {
      EXPECT_EQ(content, "hello") << "byte " << offset;
    }
  }
  mProxy.heal();
  measure();
}

TEST_F(TlsChaosTest, RecordsInSingleBytesAreReadWell) {
  mProxy.setFault({.kind = Fault::FK_Slice});
  string content;
  EXPECT_TRUE(get(content));
  EXPECT_EQ(content, "hello");
}

}  // namespace
}  // namespace qx::test
