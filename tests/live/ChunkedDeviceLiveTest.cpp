#include "netweft/http/qxIoDeviceHttpChuncked.h"

#include "tests/live/ChildProcess.h"
#include "tests/live/SocketDevice.h"

#include <gtest/gtest.h>

#include <random>

namespace qx::test {
namespace {

/// Node's HTTP server decodes what the device writes, and sends it back.
class ChunkedDeviceLiveTest : public testing::Test {
 protected:
  ChunkedDeviceLiveTest() {
    string line;
    if (mServer.readLine(line, 60'000)) mPort = static_cast<uint16>(std::stoi(line));
  }
  void SetUp() override { ASSERT_NE(mPort, 0); }

  /// The body as the server saw it, or the whole answer when it is not a good one.
  template <class Write>
  string exchange(unsigned int maxChunkSize, Write write) {
    SocketDevice socket(mPort);
    socket << "POST / HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n";
    http::qxIoDeviceHttpChuncked chunked(maxChunkSize);
    EXPECT_TRUE(chunked.beginDelegation(&socket));
    write(chunked);
    EXPECT_TRUE(chunked.endDelegation());
    const string answer = socket.readAll();
    const size_t head = answer.find("\r\n\r\n");
    if (answer.compare(0, 12, "HTTP/1.1 200") != 0 || answer.find("X-Coding: chunked") > head) return answer;
    return answer.substr(head + 4);
  }

  static string makePayload(size_t size) {
    std::mt19937 random(static_cast<unsigned>(size));
    string payload;
    for (size_t i = 0; i < size; ++i) payload += static_cast<char>(random());
    return payload;
  }

 private:
  ChildProcess mServer{{"node", NETWEFT_SOURCE_DIR "/tests/live/chunked-echo.mjs"}};
  uint16 mPort = 0;
};

TEST_F(ChunkedDeviceLiveTest, EverySizeAroundTheLimitIsDecoded) {
  for (const unsigned int limit : {0u, 1u, 16u, 255u, 256u, 4096u}) {
    for (const unsigned int times : {0u, 1u, 2u}) {
      for (const unsigned int extra : {0u, 1u, 2u}) {
        const string payload = makePayload(times * limit + extra);
        EXPECT_EQ(exchange(limit, [&](qxIoDevice& out) { out.writeBytes(payload.data(), payload.size()); }), payload)
            << limit << " " << payload.size();
      }
    }
  }
}

TEST_F(ChunkedDeviceLiveTest, WritesOfAnySizeAreDecoded) {
  std::mt19937 random(3);
  for (int round = 0; round < 20; ++round) {
    const string payload = makePayload(100'000 + random() % 100'000);
    const auto limit = static_cast<unsigned int>(1 + random() % 10'000);
    const string seen = exchange(limit, [&](qxIoDevice& out) {
      for (size_t from = 0; from < payload.size();) {
        const size_t size = std::min<size_t>(payload.size() - from, random() % 20'000);
        out.writeBytes(payload.data() + from, size);
        from += size;
      }
    });
    ASSERT_TRUE(seen == payload) << round;
  }
}

TEST_F(ChunkedDeviceLiveTest, MegabytesInChunksOfTheDefaultSizeAreDecoded) {
  const string payload = makePayload(3'000'000);
  EXPECT_TRUE(exchange(1'048'576, [&](qxIoDevice& out) { out << payload; }) == payload);
}

}  // namespace
}  // namespace qx::test
