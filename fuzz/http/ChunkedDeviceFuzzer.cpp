#include "fuzz/Input.h"
#include "fuzz/Require.h"
#include "fuzz/Target.h"
#include "netweft/base/system/qxIoDeviceByteContainer.h"
#include "netweft/http/qxIoDeviceHttpChuncked.h"

/// What was written in any pieces is what a strict reader of the chunked coding gets, and nothing follows it. The input
/// is a row of steps: a byte, and as many bytes to write; or 255, and two bytes with a chunk size to set.
namespace qx::fuzz {
namespace {

constexpr unsigned char sSetSize = 255;

/// Two streams, one after the other over the same device.
class Writing {
 public:
  explicit Writing(uint32 maxChunkSize) : mDevice(maxChunkSize), mLargest(maxChunkSize) {}

  void write(Input steps) {
    written.clear();
    encoded.clear();
    qxIoDeviceByteContainer<bytes> target(&encoded);
    Require(mDevice.beginDelegation(&target), "a stream begins");
    while (!steps.isEmpty()) step(steps);
    Require(mDevice.endDelegation(), "a stream ends well");
  }

  /// What no chunk may exceed: the largest chunk size that was set, or where nothing is gathered, the longest write.
  uint64 getLargest() const { return mLargest; }

  string written;
  bytes encoded;

 private:
  void step(Input& steps) {
    const unsigned char size = steps.takeByte();
    if (size == sSetSize) {
      mDevice.setMaxChunkSize(steps.takeNumber(2));
      mLargest = std::max<uint64>(mLargest, mDevice.getMaxChunkSize());
      return;
    }
    const std::string_view piece = steps.takeText(size);
    if (mDevice.getMaxChunkSize() == 0) mLargest = std::max<uint64>(mLargest, piece.size());
    Require(mDevice.writeBytes(piece.data(), piece.size()) == piece.size(), "all of a piece is taken");
    written += piece;
  }

  http::qxIoDeviceHttpChuncked mDevice;
  uint64 mLargest;
};

/// Reads chunks as strictly as they can be: digits in lower case with no zero in front, no extension, no trailer.
class Reader {
 public:
  explicit Reader(const bytes& encoded) : mLeft(encoded.data(), encoded.size()) {}

  string read(uint64 largest) {
    string decoded;
    while (const uint64 size = readSize()) {
      Require(size <= largest, "a chunk is no larger than was asked for");
      Require(size <= mLeft.size(), "a chunk has the bytes that it announces");
      decoded += mLeft.substr(0, size);
      mLeft.remove_prefix(size);
      readLineEnd();
    }
    readLineEnd();
    Require(mLeft.empty(), "nothing follows the end");
    return decoded;
  }

 private:
  uint64 readSize() {
    constexpr std::string_view digits = "0123456789abcdef";
    uint64 size = 0;
    size_t count = 0;
    for (size_t digit; !mLeft.empty() && (digit = digits.find(mLeft.front())) != std::string_view::npos; ++count) {
      Require(count == 0 || size != 0, "a size has no zero in front");
      size = size << 4 | digit;
      mLeft.remove_prefix(1);
    }
    Require(count > 0 && count < 16, "a chunk begins with its size");
    readLineEnd();
    return size;
  }

  void readLineEnd() {
    Require(mLeft.substr(0, 2) == "\r\n", "a line ends");
    mLeft.remove_prefix(2);
  }

  std::string_view mLeft;
};

void Check(std::string_view data) {
  Input input(data);
  Writing writing(input.takeNumber(2));
  for (int stream = 0; stream < 2; ++stream) {
    writing.write(input);
    Require(Reader(writing.encoded).read(writing.getLargest()) == writing.written, "what was written is read");
  }
}

const Target sTarget("chunked_device", Check);

}  // namespace
}  // namespace qx::fuzz
