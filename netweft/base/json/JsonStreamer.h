#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

namespace qx {
class qxIoDevice;
}

namespace qx::json {

/// What the outermost level of a streamed text is.
enum LevelType : int32 {
  LVL_List = 0,    ///< [ ]
  LVL_Object = 1,  ///< { }
};

/// Writes JSON to a device piece by piece, without a tree. The device stays the caller's and must outlive the streamer.
/// A failed write is remembered and comes out of `end`. One thread at a time.
class NETWEFT_EXPORT JsonStreamer {
 public:
  /// `pretty` puts each member and element on a line of its own.
  JsonStreamer(qxIoDevice* out, bool pretty);
  JsonStreamer(const JsonStreamer&) = delete;
  JsonStreamer& operator=(const JsonStreamer&) = delete;
  ~JsonStreamer();

  /// Opens the outermost level; false when it is open already or writing failed.
  bool begin(LevelType type);
  /// Open and close a named array member of the object.
  void arrayBegin(const string& name);
  void arrayEnd();
  /// Appends a string element, escaped.
  void arrayString(const string& value);
  /// Closes the outermost level; false when anything was left open or any writing failed.
  bool end();

  /// The text escaped for use inside a JSON string, without quotes around it: callers place it between quotes of their
  /// own. The first form stops at the terminator; a null pointer is the empty text. Bytes that are not UTF-8 become the
  /// replacement character, save the three bytes of a lone surrogate, which become its escape.
  static string ConvertToJsonString(const char* text);
  static string ConvertToJsonString(const string& text);

  /// The length of that escaped text in bytes.
  static uint64 ConvertToJsonStringSize(const char* text);
  static uint64 ConvertToJsonStringSize(const string& text);

 private:
  struct State;
  unique_ptr<State> mState;
};

}  // namespace qx::json
