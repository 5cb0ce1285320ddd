#include "tests/support/FaultyProxy.h"
#include "tests/support/RawClient.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/TestCertificates.h"

#include <curl/curl.h>

namespace qx::test {

namespace {

const string GetText = "GET / HTTP/1.1\r\n\r\n";
const string HelloText = Reply::HttpText(200, "hello");

class FaultyProxyTest : public testing::Test {
 protected:
  /// What a client with a connection of its own gets, up to the connection's end.
  string ask(const Fault& fault) {
    proxy.setFault(fault);
    const RawClient client(proxy.getPort());
    client.send(GetText);
    return client.receiveAll();
  }
  string askOn(const RawClient& client) {
    client.send(GetText);
    return client.receiveBytes(HelloText.size());
  }

  ScriptedServer server{[](const Request&) { return Reply::Http(200, "hello"); }};
  FaultyProxy proxy{{.target = server.getPort()}};
};

}  // namespace

TEST_F(FaultyProxyTest, WithoutAFaultBytesPassBothWays) {
  const RawClient client(proxy.getPort());
  EXPECT_EQ(askOn(client), HelloText);
  EXPECT_EQ(askOn(client), HelloText);
  EXPECT_EQ(server.getRawBytes(0), GetText + GetText);
  EXPECT_EQ(proxy.getAcceptedConnections(), 1U);
  EXPECT_EQ(proxy.getExchanges(), 2U);
  EXPECT_EQ(proxy.getReplyBytes(), HelloText.size());
}

TEST_F(FaultyProxyTest, TheEndOfTheServersBytesReachesTheClient) {
  server.queue(Reply::Raw("half").close());
  EXPECT_EQ(ask({}), "half");
}

TEST_F(FaultyProxyTest, AClientThatLeavesTakesTheServersConnectionWithIt) {
  {
    const RawClient client(proxy.getPort());
    EXPECT_EQ(askOn(client), HelloText);
  }
  EXPECT_TRUE(server.waitForClosedConnections(1));
  EXPECT_TRUE(proxy.waitForOpenConnections(0));
}

TEST_F(FaultyProxyTest, AServerThatIsNotThereIsAReset) {
  const RefusingPort nobody;
  FaultyProxy toNobody({.target = nobody.getPort()});
  EXPECT_EQ(RawClient(toNobody.getPort()).receive(), "RST");
}

TEST_F(FaultyProxyTest, AClosedPortRefusesAndIsThereAgainOnceItIsOpened) {
  proxy.closePort();
  EXPECT_FALSE(RawClient(proxy.getPort()).isConnected());
  proxy.openPort();
  EXPECT_EQ(askOn(RawClient(proxy.getPort())), HelloText);
}

TEST_F(FaultyProxyTest, AClosedPortLeavesTheConnectionsThatAreThere) {
  const RawClient client(proxy.getPort());
  EXPECT_EQ(askOn(client), HelloText);
  proxy.closePort();
  EXPECT_EQ(askOn(client), HelloText);
}

TEST_F(FaultyProxyTest, AResetComesBeforeAnythingIsPassedOn) {
  proxy.setFault({.kind = Fault::FK_Reset});
  EXPECT_EQ(RawClient(proxy.getPort()).receive(), "RST");
  EXPECT_EQ(server.getAcceptedConnections(), 0U);
}

TEST_F(FaultyProxyTest, AKeptConnectionIsClosedWhenTheNextRequestComes) {
  const RawClient client(proxy.getPort());
  EXPECT_EQ(askOn(client), HelloText);
  proxy.setFault({.kind = Fault::FK_Close});
  EXPECT_EQ(askOn(client), "");
  EXPECT_EQ(server.getRequestCount(), 1U);
}

TEST_F(FaultyProxyTest, AnIdleConnectionIsDropped) {
  const RawClient client(proxy.getPort());
  EXPECT_EQ(askOn(client), HelloText);
  proxy.dropConnections();
  EXPECT_EQ(client.receive(), "");
}

TEST_F(FaultyProxyTest, ACutLetsSoManyBytesOfTheReplyThrough) {
  for (uint64 n = 0; n <= HelloText.size(); ++n) {
    EXPECT_EQ(ask({.kind = Fault::FK_Cut, .offset = n}), HelloText.substr(0, n));
  }
}

TEST_F(FaultyProxyTest, ACutCountsFromTheFirstByteOfTheExchange) {
  const RawClient client(proxy.getPort());
  EXPECT_EQ(askOn(client), HelloText);
  proxy.setFault({.kind = Fault::FK_Cut, .offset = 3});
  EXPECT_EQ(askOn(client), HelloText.substr(0, 3));
}

TEST_F(FaultyProxyTest, ACutByResetShowsAsOne) {
  proxy.setFault({.kind = Fault::FK_CutByReset, .offset = 0});
  const RawClient client(proxy.getPort());
  client.send(GetText);
  EXPECT_EQ(client.receive(), "RST");
  EXPECT_EQ(server.getRequestCount(), 1U);
}

TEST_F(FaultyProxyTest, OneByteIsAnotherOne) {
  proxy.setFault({.kind = Fault::FK_Corrupt, .offset = 1, .mask = 0x20});
  string expected = HelloText;
  expected[1] = 't';
  EXPECT_EQ(askOn(RawClient(proxy.getPort())), expected);
}

TEST_F(FaultyProxyTest, BytesComeOneByOne) {
  proxy.setFault({.kind = Fault::FK_Slice});
  const RawClient client(proxy.getPort());
  client.send(GetText);
  for (const char byte : HelloText) ASSERT_EQ(client.receive(), string(1, byte));
  EXPECT_EQ(server.getRawBytes(0), GetText);
}

TEST_F(FaultyProxyTest, OnlySoManyBytesAreSliced) {
  proxy.setFault({.kind = Fault::FK_Slice, .slicedBytes = 2});
  const RawClient client(proxy.getPort());
  client.send(GetText);
  EXPECT_EQ(client.receive(), HelloText.substr(0, 1));
  EXPECT_EQ(client.receive(), HelloText.substr(1, 1));
  EXPECT_EQ(client.receiveBytes(HelloText.size() - 2), HelloText.substr(2));
}

TEST_F(FaultyProxyTest, AStalledReplyEndsWhenItsConnectionIsDropped) {
  proxy.setFault({.kind = Fault::FK_Stall, .offset = 4});
  const RawClient client(proxy.getPort());
  client.send(GetText);
  EXPECT_EQ(client.receiveBytes(4), "HTTP");
  EXPECT_EQ(proxy.getOpenConnections(), 1U);
  proxy.dropConnections();
  EXPECT_EQ(client.receive(), "");
}

TEST_F(FaultyProxyTest, ADelayedReplyComesWholeAndNotBeforeItsTime) {
  const auto begin = std::chrono::steady_clock::now();
  proxy.setFault({.kind = Fault::FK_Delay, .offset = 4, .pause = std::chrono::milliseconds(50)});
  EXPECT_EQ(askOn(RawClient(proxy.getPort())), HelloText);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(50));
}

TEST_F(FaultyProxyTest, ADeafConnectionTakesNothing) {
  proxy.setFault({.kind = Fault::FK_Deaf});
  const RawClient client(proxy.getPort());
  client.send(GetText);
  ASSERT_TRUE(proxy.waitForExchanges(1));
  proxy.dropConnections();
  EXPECT_NE(client.receive(), HelloText);
  EXPECT_EQ(server.getAcceptedConnections(), 0U);
}

TEST_F(FaultyProxyTest, APlanIsAskedForEachExchange) {
  proxy.setPlan([number = 0]() mutable { return ++number == 2 ? Fault{.kind = Fault::FK_Cut, .offset = 1} : Fault(); });
  const RawClient client(proxy.getPort());
  EXPECT_EQ(askOn(client), HelloText);
  EXPECT_EQ(askOn(client), "H");
  EXPECT_EQ(askOn(RawClient(proxy.getPort())), HelloText);
}

TEST_F(FaultyProxyTest, AFaultForAWholeConnectionCountsFromItsFirstByte) {
  FaultyProxy whole({.target = server.getPort(), .isPerConnection = true});
  whole.setFault({.kind = Fault::FK_Cut, .offset = HelloText.size() + 2});
  const RawClient client(whole.getPort());
  EXPECT_EQ(askOn(client), HelloText);
  EXPECT_EQ(askOn(client), HelloText.substr(0, 2));
  EXPECT_EQ(whole.getExchanges(), 1U);
}

TEST_F(FaultyProxyTest, AProxyEndsWithConnectionsInEveryState) {
  auto ending = std::make_unique<FaultyProxy>(FaultyProxyOptions{.target = server.getPort()});
  vector<unique_ptr<RawClient>> clients;
  const auto pause = std::chrono::hours(1);
  for (const Fault& fault : {Fault{}, Fault{.kind = Fault::FK_Stall}, Fault{.kind = Fault::FK_Deaf},
                             Fault{.kind = Fault::FK_Delay, .pause = pause}, Fault{.kind = Fault::FK_Cut}}) {
    ending->setFault(fault);
    clients.push_back(std::make_unique<RawClient>(ending->getPort()));
    clients.back()->send(GetText);
    ASSERT_TRUE(ending->waitForExchanges(clients.size()));
  }
  ending.reset();
  for (const auto& client : clients) EXPECT_NE(client->receiveAll(), "never");
}

TEST(FaultyProxyTlsTest, FaultsHitInsideTheStreamOfTls) {
  ScriptedServer server([](const Request&) { return Reply::Http(200, "hello"); });
  FaultyProxy proxy({.target = server.getPort(), .tls = TestCertificates::GetShared().createGood()});
  proxy.setFault({.kind = Fault::FK_Cut, .offset = HelloText.size() - 2});
  CURL* handle = curl_easy_init();
  string body;
  curl_easy_setopt(handle, CURLOPT_URL, proxy.getUrl("/").c_str());
  curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, 0L);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, &body);
  curl_easy_setopt(
      handle, CURLOPT_WRITEFUNCTION, +[](char* data, size_t size, size_t n, string* out) {
        out->append(data, size * n);
        return size * n;
      });
  EXPECT_EQ(curl_easy_perform(handle), CURLE_PARTIAL_FILE);
  EXPECT_EQ(body, "hel");
  curl_easy_cleanup(handle);
}

}  // namespace qx::test
