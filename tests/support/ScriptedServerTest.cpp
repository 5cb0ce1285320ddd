#include "tests/support/RawClient.h"
#include "tests/support/ScriptedServer.h"

#include <thread>

namespace qx::test {

namespace {

const string HelloText = Reply::HttpText(200, "hello");

}  // namespace

TEST(ScriptedServerTest, RepliesComeFromTheQueueThenFromTheHandlerThenAsServerErrors) {
  ScriptedServer server([](const Request&) { return Reply::Http(202); });
  server.queue(Reply::Http(201));
  RawClient client(server.getPort());
  for (const string expected : {"HTTP/1.1 201", "HTTP/1.1 202"}) {
    client.send("GET / HTTP/1.1\r\n\r\n");
    EXPECT_EQ(client.receive().substr(0, 12), expected);
  }
  server.setHandler(nullptr);
  client.send("GET / HTTP/1.1\r\n\r\n");
  EXPECT_EQ(client.receive().substr(0, 12), "HTTP/1.1 500");
}

TEST(ScriptedServerTest, RequestsAreRecordedAsTheyStoodOnTheWire) {
  ScriptedServer server([](const Request&) { return Reply::Http(200); });
  const string text = "PUT /a?b=%41 HTTP/1.1\r\nX-One: 1\r\nx-one:  2 \r\nContent-Length: 3\r\n\r\nabc";
  RawClient client(server.getPort());
  client.send(text);
  const Request request = server.getRequest(0);
  EXPECT_EQ(request.line, "PUT /a?b=%41 HTTP/1.1");
  EXPECT_EQ(request.method, "PUT");
  EXPECT_EQ(request.target, "/a?b=%41");
  EXPECT_EQ(request.headers, (HeaderLines{{"X-One", "1"}, {"x-one", "2"}, {"Content-Length", "3"}}));
  EXPECT_EQ(request.body, "abc");
  EXPECT_EQ(request.raw, text);
  EXPECT_EQ(server.getRawBytes(0), text);
  EXPECT_EQ(request.getHeader("X-ONE"), "1");
  EXPECT_EQ(request.countHeaders("x-one"), 2U);
  EXPECT_TRUE(request.hasHeaderLine("X-One: 1"));
  EXPECT_FALSE(request.hasHeaderLine("abc"));
}

TEST(ScriptedServerTest, ChunkedBodiesAreJoinedWhereverTheyAreCut) {
  const string text =
      "POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n10\r\n0123456789abcdef\r\n0\r\n\r\n";
  for (size_t cut = 1; cut < text.size(); cut += 7) {
    ScriptedServer server([](const Request&) { return Reply::Http(200); });
    RawClient client(server.getPort());
    client.send(text.substr(0, cut));
    ASSERT_TRUE(server.waitForRawBytes(0, text.substr(0, cut)));
    client.send(text.substr(cut));
    EXPECT_EQ(server.getRequest(0).body, "abc0123456789abcdef");
    EXPECT_EQ(server.getRequest(0).raw, text);
  }
}

TEST(ScriptedServerTest, RequestsSentTogetherAreAnsweredInOrder) {
  ScriptedServer server([](const Request& request) { return Reply::Raw(request.target); });
  RawClient client(server.getPort());
  client.send("GET /1 HTTP/1.1\r\n\r\nGET /2 HTTP/1.1\r\n\r\n");
  EXPECT_EQ(client.receiveBytes(4), "/1/2");
}

TEST(ScriptedServerTest, ExpectContinueIsGranted) {
  ScriptedServer server([](const Request&) { return Reply::Raw("done"); });
  RawClient client(server.getPort());
  client.send("PUT / HTTP/1.1\r\nContent-Length: 1\r\nExpect: 100-continue\r\n\r\n");
  EXPECT_EQ(client.receive(), "HTTP/1.1 100 Continue\r\n\r\n");
  client.send("x");
  EXPECT_EQ(client.receive(), "done");
}

TEST(ScriptedServerTest, EachSendIsSeenAlone) {
  ScriptedServer server;
  server.queue(Reply().sendInPieces("abcdef", 1).send("ghi"));
  RawClient client(server.getPort());
  client.send("GET / HTTP/1.1\r\n\r\n");
  for (const string expected : {"a", "b", "c", "d", "e", "f", "ghi"}) {
    EXPECT_EQ(client.receive(), expected);
    std::this_thread::yield();
  }
}

TEST(ScriptedServerTest, AGateHoldsTheRestBackUntilItOpens) {
  ScriptedServer server;
  const Gate gate;
  server.queue(Reply::Raw("one").waitFor(gate).send("two"));
  RawClient client(server.getPort());
  client.send("GET / HTTP/1.1\r\n\r\n");
  EXPECT_EQ(client.receive(), "one");
  ASSERT_TRUE(gate.waitForArrivals(1));
  gate.open();
  EXPECT_EQ(client.receive(), "two");
}

TEST(ScriptedServerTest, AHeadRequestGetsNoBody) {
  ScriptedServer server([](const Request&) { return Reply::Http(200, "hello").close(); });
  RawClient client(server.getPort());
  client.send("HEAD / HTTP/1.1\r\n\r\n");
  EXPECT_EQ(client.receiveAll(), "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n");
}

TEST(ScriptedServerTest, CloseSendsAllAndEndsTheStream) {
  ScriptedServer server;
  server.queue(Reply::Raw(HelloText).close());
  RawClient client(server.getPort());
  client.send("GET / HTTP/1.1\r\n\r\nand more that nobody reads");
  EXPECT_EQ(client.receiveAll(), HelloText);
}

TEST(ScriptedServerTest, ResetEndsTheConnectionHard) {
  ScriptedServer server;
  server.queue(Reply().reset());
  RawClient client(server.getPort());
  client.send("GET / HTTP/1.1\r\n\r\n");
  EXPECT_EQ(client.receive(), "RST");
}

TEST(ScriptedServerTest, AClientThatAsksForItGetsTheConnectionClosed) {
  ScriptedServer server([](const Request&) { return Reply::Raw(HelloText); });
  RawClient client(server.getPort());
  client.send("GET / HTTP/1.1\r\nConnection: close\r\n\r\n");
  EXPECT_EQ(client.receiveAll(), HelloText);
}

TEST(ScriptedServerTest, AConnectionScriptTalksBeforeItHears) {
  ScriptedServer server;
  server.queueConnection(Reply::Raw("who?").awaitText("me\n").send("hello me").awaitText("bye\n"));
  RawClient client(server.getPort());
  EXPECT_EQ(client.receive(), "who?");
  client.send("me\nbye\n");
  EXPECT_EQ(client.receiveAll(), "hello me");
  EXPECT_EQ(server.getRequestCount(), 0U);
  EXPECT_EQ(server.getRawBytes(0), "me\nbye\n");
}

TEST(ScriptedServerTest, ConnectionsAreCounted) {
  ScriptedServer server;
  RawClient one(server.getPort());
  RawClient two(server.getPort());
  ASSERT_TRUE(server.waitForConnections(2));
  EXPECT_EQ(server.getOpenConnections(), 2U);
  one.close();
  ASSERT_TRUE(server.waitForClosedConnections(1));
  EXPECT_EQ(server.getOpenConnections(), 1U);
  EXPECT_EQ(server.getAcceptedConnections(), 2U);
  two.close();
  EXPECT_TRUE(server.waitForOpenConnections(0));
}

TEST(ScriptedServerTest, AClientThatLeavesInMidReplyIsNoticed) {
  ScriptedServer server;
  const Gate gate;
  server.queue(Reply::Raw("one").waitFor(gate).send(string(1000000, 'x')));
  RawClient client(server.getPort());
  client.send("GET / HTTP/1.1\r\n\r\n");
  EXPECT_EQ(client.receive(), "one");
  client.close();
  EXPECT_TRUE(server.waitForOpenConnections(0));
  gate.open();
}

TEST(ScriptedServerTest, TheDestructorDropsRepliesUnderWay) {
  const Gate gate;
  auto server = std::make_unique<ScriptedServer>();
  server->queue(Reply::Raw("one").waitFor(gate).send("two"));
  server->queue(Reply().drip("slow", std::chrono::hours(1)));
  server->queue(Reply::Raw(string(100000000, 'x')));
  RawClient gated(server->getPort());
  gated.send("GET / HTTP/1.1\r\n\r\n");
  ASSERT_TRUE(gate.waitForArrivals(1));
  RawClient dripped(server->getPort());
  dripped.send("GET / HTTP/1.1\r\n\r\n");
  RawClient stuffed(server->getPort());
  stuffed.send("GET / HTTP/1.1\r\n\r\n");
  EXPECT_EQ(stuffed.receiveBytes(1).front(), 'x');
  server.reset();
  gate.open();
  EXPECT_EQ(gated.receiveAll(), "one");
}

TEST(ScriptedServerTest, ResetConnectionsReachesThemAll) {
  ScriptedServer server;
  RawClient client(server.getPort());
  ASSERT_TRUE(server.waitForConnections(1));
  server.resetConnections();
  EXPECT_EQ(client.receive(), "RST");
  EXPECT_TRUE(server.waitForOpenConnections(0));
}

TEST(ScriptedServerTest, AServerComesBackAtItsPort) {
  auto server = std::make_unique<ScriptedServer>();
  const uint16 port = server->getPort();
  server.reset();
  EXPECT_FALSE(RawClient(port).isConnected());
  ScriptedServer again({.port = port});
  EXPECT_TRUE(RawClient(port).isConnected());
}

TEST(ScriptedServerTest, ARefusingPortRefuses) {
  const RefusingPort port;
  EXPECT_FALSE(RawClient(port.getPort()).isConnected());
}

}  // namespace qx::test
