#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

namespace qx {

/// A stream of bytes with a read and a write position. An interface: subclasses say what stands behind it.
/// The order of the virtual operations is part of the binary interface. One thread at a time.
class NETWEFT_EXPORT qxIoDevice {
 public:
  /// What an offset counts from.
  enum SeekStart : int32 {
    SS_Begin = 0,    ///< the first byte
    SS_Current = 1,  ///< the position at hand
    SS_End = 2,      ///< behind the last byte
  };

  qxIoDevice() = default;
  /// There is nothing to copy here; what a copy shares is each subclass's word.
  qxIoDevice(const qxIoDevice&) = default;
  qxIoDevice& operator=(const qxIoDevice&) = default;
  virtual ~qxIoDevice();

  /// Both return the count of bytes moved, which may be less than `n`.
  virtual uint64 readBytes(char* dst, uint64 n) = 0;
  virtual uint64 writeBytes(const char* src, uint64 n) = 0;

  /// Something has failed; what takes it back is each subclass's word.
  virtual bool hasError() const = 0;
  /// Nothing is left to read.
  virtual bool atEnd() const = 0;

  /// Move the read or the write position; false when the device has an error afterwards.
  virtual bool seekg(int64 offset, SeekStart from) = 0;
  virtual bool seekp(int64 offset, SeekStart from) = 0;
  /// The read and the write position, from the first byte.
  virtual uint64 tellg() = 0;
  virtual uint64 tellp() = 0;

  /// The opposite of `hasError`.
  bool good() const { return !hasError(); }

  /// Write the text through `writeBytes`. A null pointer writes nothing.
  qxIoDevice& operator<<(const string& text);
  qxIoDevice& operator<<(const char* text);
};

}  // namespace qx
