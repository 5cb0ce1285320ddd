#include "netweft/http/qxIoDeviceHttpChuncked.h"

#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <functional>

namespace qx::test {
namespace {

using http::qxIoDeviceHttpChuncked;
using testing::ElementsAre;
using testing::IsEmpty;

/// Keeps each write. The one at `failAt` fails, and the device has an error from then on.
class RecordingDevice final : public qxIoDevice {
 public:
  uint64 readBytes(char*, uint64) override { return 0; }
  uint64 writeBytes(const char* src, uint64 n) override {
    if (writes.size() == failAt) mFailed = true;
    writes.emplace_back(src, n);
    addresses.push_back(src);
    return mFailed ? 0 : n;
  }
  bool hasError() const override { return mFailed; }
  bool atEnd() const override { return true; }
  bool seekg(int64, SeekStart) override { return false; }
  bool seekp(int64, SeekStart) override { return false; }
  uint64 tellg() override { return 0; }
  uint64 tellp() override { return 0; }

  string getText() const {
    string text;
    for (const string& write : writes) text += write;
    return text;
  }

  vector<string> writes;
  vector<const char*> addresses;
  size_t failAt = SIZE_MAX;

 private:
  bool mFailed = false;
};

/// The payload sizes of an encoded stream, and its payload; both stop where the encoding breaks.
struct Decoded {
  vector<uint64> sizes;
  string payload;
  bool isWhole = false;
};

Decoded Decode(const string& text) {
  Decoded decoded;
  for (size_t at = 0; at < text.size();) {
    char* end = nullptr;
    const uint64 size = std::strtoull(text.c_str() + at, &end, 16);
    at = static_cast<size_t>(end - text.c_str());
    if (text.compare(at, 2, "\r\n") != 0 || text.compare(at + 2 + size, 2, "\r\n") != 0) return decoded;
    if (size == 0) {
      decoded.isWhole = at + 4 == text.size();
      return decoded;
    }
    decoded.sizes.push_back(size);
    decoded.payload += text.substr(at + 2, size);
    at += size + 4;
  }
  return decoded;
}

string MakePayload(size_t size) {
  string payload;
  for (size_t i = 0; i < size; ++i) payload += static_cast<char>(i * 7 + i / 256);
  return payload;
}

class qxIoDeviceHttpChunckedTest : public testing::Test {
 protected:
  void write(const string& text) { EXPECT_EQ(device.writeBytes(text.data(), text.size()), text.size()); }

  qxIoDeviceHttpChuncked device{16};
  RecordingDevice target;
};

TEST_F(qxIoDeviceHttpChunckedTest, AStreamIsItsChunksAndItsEnd) {
  ASSERT_TRUE(device.beginDelegation(&target));
  write("0123456789");
  EXPECT_TRUE(device.endDelegation());
  EXPECT_EQ(target.getText(), "a\r\n0123456789\r\n0\r\n\r\n");
}

TEST_F(qxIoDeviceHttpChunckedTest, AFullChunkStaysUntilTheNextWriteOrTheEnd) {
  ASSERT_TRUE(device.beginDelegation(&target));
  write(string(16, 'x'));
  EXPECT_THAT(target.writes, IsEmpty());
  write("y");
  EXPECT_EQ(target.getText(), "10\r\n" + string(16, 'x') + "\r\n");
  EXPECT_TRUE(device.endDelegation());
  EXPECT_EQ(target.getText(), "10\r\n" + string(16, 'x') + "\r\n1\r\ny\r\n0\r\n\r\n");
}

TEST_F(qxIoDeviceHttpChunckedTest, OneByteTooManySendsAFullChunkAndStaysBehind) {
  ASSERT_TRUE(device.beginDelegation(&target));
  write(string(16, 'x') + "y");
  EXPECT_EQ(target.getText(), "10\r\n" + string(16, 'x') + "\r\n");
  EXPECT_TRUE(device.endDelegation());
  EXPECT_THAT(Decode(target.getText()).sizes, ElementsAre(16, 1));
}

TEST_F(qxIoDeviceHttpChunckedTest, AnEmptyStreamIsItsEndAlone) {
  ASSERT_TRUE(device.beginDelegation(&target));
  EXPECT_TRUE(device.endDelegation());
  EXPECT_EQ(target.getText(), "0\r\n\r\n");
}

TEST_F(qxIoDeviceHttpChunckedTest, WritingNothingSendsNothing) {
  ASSERT_TRUE(device.beginDelegation(&target));
  EXPECT_EQ(device.writeBytes("x", 0), 0u);
  EXPECT_EQ(device.writeBytes(nullptr, 0), 0u);
  EXPECT_FALSE(device.hasError());
  EXPECT_THAT(target.writes, IsEmpty());
}

TEST_F(qxIoDeviceHttpChunckedTest, TheDelegateSeesSizePendingBytesDataAndLineEndsApart) {
  ASSERT_TRUE(device.beginDelegation(&target));
  write("abc");
  write(string(14, 'd'));
  EXPECT_THAT(target.writes, ElementsAre("10", "\r\n", "abc", string(13, 'd'), "\r\n"));
}

TEST_F(qxIoDeviceHttpChunckedTest, AWriteTooLargeForTheBufferIsNotCopied) {
  ASSERT_TRUE(device.beginDelegation(&target));
  const string data(50, 'd');
  write(data);
  EXPECT_THAT(target.writes, ElementsAre("10", "\r\n", string(16, 'd'), "\r\n", "10", "\r\n", string(16, 'd'), "\r\n",
                                         "10", "\r\n", string(16, 'd'), "\r\n"));
  EXPECT_EQ(target.addresses.at(2), data.data());
  EXPECT_EQ(target.addresses.at(6), data.data() + 16);
}

TEST_F(qxIoDeviceHttpChunckedTest, ASecondStartIsRefusedAndFailsTheStreamInProgress) {
  RecordingDevice other;
  ASSERT_TRUE(device.beginDelegation(&target));
  write("abc");
  EXPECT_FALSE(device.beginDelegation(&other));
  EXPECT_TRUE(device.hasError());
  EXPECT_FALSE(device.endDelegation());
  EXPECT_THAT(target.writes, IsEmpty());
  EXPECT_THAT(other.writes, IsEmpty());
}

TEST_F(qxIoDeviceHttpChunckedTest, EachStreamStartsClean) {
  EXPECT_EQ(device.writeBytes("x", 1), 0u);
  EXPECT_TRUE(device.hasError());
  for (int stream = 0; stream < 3; ++stream) {
    RecordingDevice next;
    ASSERT_TRUE(device.beginDelegation(&next));
    EXPECT_FALSE(device.hasError());
    write("abc");
    EXPECT_TRUE(device.endDelegation());
    EXPECT_EQ(next.getText(), "3\r\nabc\r\n0\r\n\r\n");
  }
}

TEST_F(qxIoDeviceHttpChunckedTest, WithoutADelegateAWriteFails) {
  EXPECT_FALSE(device.hasError());
  EXPECT_EQ(device.writeBytes("abc", 3), 0u);
  EXPECT_TRUE(device.hasError());
  EXPECT_FALSE(device.endDelegation());
  EXPECT_TRUE(device.hasError());
}

TEST_F(qxIoDeviceHttpChunckedTest, ANullDelegateIsNone) {
  EXPECT_TRUE(device.beginDelegation(nullptr));
  EXPECT_EQ(device.writeBytes("abc", 3), 0u);
  EXPECT_FALSE(device.endDelegation());
}

TEST_F(qxIoDeviceHttpChunckedTest, ClearingDropsWhatIsGatheredAndKeepsTheFailure) {
  ASSERT_TRUE(device.beginDelegation(&target));
  write("abc");
  device.tellp();
  device.clearDelegation();
  EXPECT_TRUE(device.hasError());
  RecordingDevice next;
  ASSERT_TRUE(device.beginDelegation(&next));
  EXPECT_TRUE(device.endDelegation());
  EXPECT_EQ(next.getText(), "0\r\n\r\n");
  EXPECT_THAT(target.writes, IsEmpty());
}

TEST_F(qxIoDeviceHttpChunckedTest, DestructionWritesNothing) {
  {
    qxIoDeviceHttpChuncked dying(16);
    ASSERT_TRUE(dying.beginDelegation(&target));
    dying.writeBytes("abc", 3);
  }
  EXPECT_THAT(target.writes, IsEmpty());
}

TEST_F(qxIoDeviceHttpChunckedTest, TheDelegatesErrorIsItsOwn) {
  ASSERT_TRUE(device.beginDelegation(&target));
  target.failAt = 0;
  write(string(16, 'x'));
  EXPECT_EQ(device.writeBytes("y", 1), 0u);
  EXPECT_TRUE(device.hasError());
  device.clearDelegation();
  EXPECT_FALSE(device.hasError());
}

TEST_F(qxIoDeviceHttpChunckedTest, ChunksHoldAMegabyteUnlessSaidOtherwise) {
  EXPECT_EQ(qxIoDeviceHttpChuncked().getMaxChunkSize(), 1048576u);
  EXPECT_EQ(device.getMaxChunkSize(), 16u);
}

TEST_F(qxIoDeviceHttpChunckedTest, ItTellsWhatItDoesWithItsDelegate) {
  EXPECT_EQ(device.getDelegableFlag(), 2);
  EXPECT_EQ(device.getDelegableKind(), 1025);
}

TEST_F(qxIoDeviceHttpChunckedTest, AnotherSizeCountsFromTheNextWrite) {
  ASSERT_TRUE(device.beginDelegation(&target));
  write("0123456789");
  device.setMaxChunkSize(4);
  EXPECT_EQ(device.getMaxChunkSize(), 4u);
  EXPECT_THAT(target.writes, IsEmpty());
  write("abcdef");
  EXPECT_TRUE(device.endDelegation());
  const Decoded decoded = Decode(target.getText());
  EXPECT_THAT(decoded.sizes, ElementsAre(10, 4, 2));
  EXPECT_EQ(decoded.payload, "0123456789abcdef");
}

TEST_F(qxIoDeviceHttpChunckedTest, ALargerSizeGathersMore) {
  ASSERT_TRUE(device.beginDelegation(&target));
  device.setMaxChunkSize(100);
  write(string(60, 'a'));
  write(string(40, 'a'));
  EXPECT_THAT(target.writes, IsEmpty());
  EXPECT_TRUE(device.endDelegation());
  EXPECT_EQ(target.writes.at(0), "64");
}

TEST_F(qxIoDeviceHttpChunckedTest, ASizeOfZeroGathersNothing) {
  device.setMaxChunkSize(4);
  ASSERT_TRUE(device.beginDelegation(&target));
  write("ab");
  device.setMaxChunkSize(0);
  write("cde");
  EXPECT_EQ(target.getText(), "2\r\nab\r\n3\r\ncde\r\n");
  write(string(1000, 'f'));
  EXPECT_EQ(device.writeBytes(nullptr, 0), 0u);
  EXPECT_TRUE(device.endDelegation());
  EXPECT_THAT(Decode(target.getText()).sizes, ElementsAre(2, 3, 1000));
}

TEST_F(qxIoDeviceHttpChunckedTest, SizesAreHexadecimalWithoutGrouping) {
  qxIoDeviceHttpChuncked large(10'000'000);
  ASSERT_TRUE(large.beginDelegation(&target));
  large.writeBytes(string(10'000'000, 'x').data(), 10'000'000);
  EXPECT_TRUE(large.endDelegation());
  EXPECT_EQ(target.writes.at(0), "989680");
}

TEST_F(qxIoDeviceHttpChunckedTest, GatheringNeverMovesTheBuffer) {
  ASSERT_TRUE(device.beginDelegation(&target));
  for (int i = 0; i < 100; ++i) write("abc");
  set<const char*> buffers;
  for (size_t i = 0; i + 2 < target.writes.size(); ++i) {
    if (target.writes.at(i) == "10") buffers.insert(target.addresses.at(i + 2));
  }
  EXPECT_EQ(buffers.size(), 1u);
}

TEST_F(qxIoDeviceHttpChunckedTest, EverySizeAroundTheLimitComesThrough) {
  for (const size_t limit : {size_t{1}, size_t{2}, size_t{15}, size_t{16}, size_t{17}, size_t{255}, size_t{256}}) {
    for (size_t size = 0; size <= 3 * limit + 2; ++size) {
      qxIoDeviceHttpChuncked chunked(static_cast<unsigned int>(limit));
      RecordingDevice out;
      const string payload = MakePayload(size);
      ASSERT_TRUE(chunked.beginDelegation(&out));
      ASSERT_EQ(chunked.writeBytes(payload.data(), size), size);
      ASSERT_TRUE(chunked.endDelegation());
      const Decoded decoded = Decode(out.getText());
      ASSERT_TRUE(decoded.isWhole) << limit << " " << size;
      ASSERT_EQ(decoded.payload, payload);
      ASSERT_EQ(decoded.sizes.size(), (size + limit - 1) / limit);
    }
  }
}

TEST_F(qxIoDeviceHttpChunckedTest, EverySplitOfTheWritesGivesTheSameBytes) {
  const string payload = MakePayload(14);
  string whole;
  for (unsigned int cuts = 0; cuts < 1U << (payload.size() - 1); ++cuts) {
    qxIoDeviceHttpChuncked chunked(4);
    RecordingDevice out;
    ASSERT_TRUE(chunked.beginDelegation(&out));
    size_t from = 0;
    for (size_t i = 1; i <= payload.size(); ++i) {
      if (i < payload.size() && ((cuts >> (i - 1)) & 1U) == 0) continue;
      ASSERT_EQ(chunked.writeBytes(payload.data() + from, i - from), i - from);
      from = i;
    }
    ASSERT_TRUE(chunked.endDelegation());
    if (cuts == 0) whole = out.getText();
    ASSERT_EQ(out.getText(), whole) << cuts;
  }
  EXPECT_EQ(Decode(whole).payload, payload);
}

TEST_F(qxIoDeviceHttpChunckedTest, ADelegateThatFailsAtAnyWriteFailsTheStream) {
  const auto run = [](RecordingDevice& out) {
    qxIoDeviceHttpChuncked chunked(4);
    EXPECT_TRUE(chunked.beginDelegation(&out));
    for (const char* text : {"ab", "cdefghi", "j"}) {
      const uint64 size = string(text).size();
      const uint64 written = chunked.writeBytes(text, size);
      EXPECT_EQ(written, out.hasError() ? 0 : size);
    }
    return chunked.endDelegation();
  };
  RecordingDevice good;
  EXPECT_TRUE(run(good));
  ASSERT_GT(good.writes.size(), 10u);
  for (size_t failAt = 0; failAt < good.writes.size(); ++failAt) {
    RecordingDevice bad;
    bad.failAt = failAt;
    EXPECT_FALSE(run(bad)) << failAt;
  }
}

/// The operations that the device does not have.
class RefusedOperationTest : public qxIoDeviceHttpChunckedTest {
 protected:
  /// Runs `operation` within a stream, and gives what is logged.
  vector<CapturedLine> run(const std::function<void()>& operation) {
    const LogCapture log;
    EXPECT_TRUE(device.beginDelegation(&target));
    operation();
    return log.getLines();
  }
  void expectFailure() {
    EXPECT_TRUE(device.hasError());
    EXPECT_EQ(device.writeBytes("x", 1), 0u);
    EXPECT_FALSE(device.endDelegation());
    EXPECT_THAT(target.writes, IsEmpty());
  }
};

TEST_F(RefusedOperationTest, Reading) {
  char room = 0;
  EXPECT_THAT(run([&] { EXPECT_EQ(device.readBytes(&room, 1), 0u); }),
              ElementsAre(Error("qxIoDeviceHttpChuncked::readBytes not implemented")));
  expectFailure();
}

TEST_F(RefusedOperationTest, MovingTheReadPosition) {
  EXPECT_THAT(run([&] { EXPECT_FALSE(device.seekg(0, qxIoDevice::SS_Begin)); }),
              ElementsAre(Error("qxIoDeviceHttpChuncked::seekg not implemented")));
  expectFailure();
}

TEST_F(RefusedOperationTest, MovingTheWritePosition) {
  EXPECT_THAT(run([&] { EXPECT_FALSE(device.seekp(0, qxIoDevice::SS_Begin)); }),
              ElementsAre(Error("qxIoDeviceHttpChuncked::seekp not implemented")));
  expectFailure();
}

TEST_F(RefusedOperationTest, AskingForTheReadPosition) {
  EXPECT_THAT(run([&] { EXPECT_EQ(device.tellg(), 0u); }),
              ElementsAre(Error("qxIoDeviceHttpChuncked::tellg not implemented")));
  expectFailure();
}

TEST_F(RefusedOperationTest, AskingForTheWritePosition) {
  EXPECT_THAT(run([&] { EXPECT_EQ(device.tellp(), 0u); }),
              ElementsAre(Error("qxIoDeviceHttpChuncked::tellp not implemented")));
  expectFailure();
}

TEST_F(RefusedOperationTest, AskingForTheEndFailsNothing) {
  EXPECT_THAT(run([&] { EXPECT_TRUE(device.atEnd()); }),
              ElementsAre(Error("qxIoDeviceHttpChuncked::atEnd not implemented")));
  EXPECT_FALSE(device.hasError());
  write("x");
  EXPECT_TRUE(device.endDelegation());
}

}  // namespace
}  // namespace qx::test
