#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxIoDeviceDelegable.h"

#include <sstream>

namespace qx::http {

/// Encodes everything written to it in the chunked transfer coding of HTTP/1.1 and passes the encoded bytes to another
/// device, its delegate. Small writes are gathered, so that the delegate sees few and large ones.
///
///   qxIoDeviceHttpChuncked chunked;
///   chunked.beginDelegation(&socket);
///   chunked << "text";
///   if (!chunked.endDelegation()) ... the stream is broken, and has no end that a reader would take for one
///
/// One device serves many streams, one after the other; one thread at a time. The delegate stays the caller's and must
/// live until the stream is ended or cleared. Nothing is written by the destructor: a stream that was not ended has no
/// terminator, so that its reader sees it as broken.
///
/// The delegate's results are not looked at: its failures show in its own `hasError`, and so in this one's, and in the
/// results of `writeBytes` and `endDelegation`. A delegate that takes less than it is given must say so there.
///
/// It can only be written to, from front to back. Everything else that a device can do fails, is logged as an error,
/// and (save `atEnd`) makes this device fail: so nothing that asks a device for its position can write to this one.
class NETWEFT_EXPORT qxIoDeviceHttpChuncked : public qxIoDeviceDelegable {
 public:
  /// Chunks hold at most `maxChunkSize` bytes, for which room is reserved at once; 1 MiB by default. With 0 nothing is
  /// gathered: each write goes out as a chunk of its own.
  explicit qxIoDeviceHttpChuncked(unsigned int maxChunkSize = 1048576);
  ~qxIoDeviceHttpChuncked() override;

  uint64 readBytes(char* dst, uint64 n) override;
  /// `size`, or 0 when this device or its delegate has failed, which it may find out only later: see above. 0 and a
  /// failure without a delegate.
  uint64 writeBytes(const char* data, uint64 size) override;
  /// This device has failed in the stream at hand, or the delegate has an error.
  bool hasError() const override;
  /// Refused, as all below: false, or 0.
  bool atEnd() const override;
  bool seekg(int64 offset, SeekStart from) override;
  bool seekp(int64 offset, SeekStart from) override;
  uint64 tellg() override;
  uint64 tellp() override;

  /// Starts a stream, with no failure and nothing gathered. While one is open it is refused, and the open one has
  /// failed. A null `target` is taken too, and the first write fails.
  bool beginDelegation(qxIoDevice* target) override;
  /// Writes what is gathered and the end of the stream, and lets go of the delegate. A stream that has failed gets no
  /// end. True when the delegate is good after that; false for a failed stream, and when there is none.
  bool endDelegation() override;
  /// Drops what is gathered and lets go of the delegate. The failure stays until the next stream.
  void clearDelegation() override;

  /// The size in force.
  unsigned int getMaxChunkSize() const { return mMaxChunkSize; }
  /// Counts from the next write on. What is gathered by then stays so, and may leave as a chunk beyond a smaller size.
  void setMaxChunkSize(unsigned int maxChunkSize);

 protected:
  /// Sends what is gathered and `data` behind it as one chunk; nothing at all when both are empty, since an empty chunk
  /// would end the stream. `data` may be null with `size` 0. There must be a delegate.
  void writeChunk(const char* data, uint64 size);

 private:
  void refuse(const char* operation) const;
  void gather(const char* data, uint64 size);

  uint32 mMaxChunkSize;
  bytes mPendingBytes;
  std::ostringstream mSizeFormatter;
  qxIoDevice* mDelegate = nullptr;
  bool mFailed = false;
};

}  // namespace qx::http
