#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

#include <string_view>

namespace qx::elasticsearch {

struct JsonTokenizerState;

/// Reads the reply to a `_search` as it arrives, in chunks of any size, without building a tree. A subclass gets each
/// hit as soon as it is complete. Where the chunks are cut makes no difference.
///
/// Only what is needed is looked at: the number of hits, the scroll id, and of each hit `_id`, `_source`, `highlight`,
/// `_score` and the "type" inside `_source`. It is no check of the JSON: a malformed reply shows in `finish` at most.
///
///   for each chunk: if (!parser.addData(chunk, size)) ... parser.getErrorMessage()
///   if (!parser.finish(&error)) ...
///
/// One object reads one reply, on one thread at a time.
class NETWEFT_EXPORT SearchResultParserInterface {
 public:
  SearchResultParserInterface();
  SearchResultParserInterface(const SearchResultParserInterface&) = delete;
  SearchResultParserInterface& operator=(const SearchResultParserInterface&) = delete;
  virtual ~SearchResultParserInterface();

 protected:
  /// A hit is complete. `id` is unescaped; `source` and `highlight` are the JSON text of those objects byte for byte;
  /// `score` is the text of `_score` as it came; `type` is the value of a "type" one level inside `_source`, escaped
  /// as it came.
  ///
  /// What a hit does not have is left from the hit before it. The texts are the parser's: they may be changed or moved
  /// away, and live until the next byte is read. An exception thrown here reaches the caller of `addData`, and the
  /// reply is then lost.
  virtual void onHit(string& id, string& source, string& score, string& highlight, string& type) = 0;

 public:
  /// Reads `size` bytes, which stay the caller's. False when the reply cannot be used: then, and as long as nothing is
  /// read any more, `getErrorMessage` tells why. A reply that carries an "error" is read on for a while, so that the
  /// text of the error is gathered.
  bool addData(const char* data, uint64 size);

  /// After the last chunk: true when the reply ended where it should. Otherwise `*error`, unless null, is replaced by
  /// what is left open.
  bool finish(string* error);

  /// The raw text behind the reply's "error" key, or what is wrong with an id. Means something only after a failure.
  const string& getErrorMessage() { return mSource; }

  /// Empty until read, and when the search is no scroll. Escaped as it came.
  const string& getScrollId() const { return mScrollId; }

  /// 0 until read; more than an int holds is the largest int.
  int getTotalHitCount() const { return mTotalHitCount; }

 private:
  void consume(const char* here);
  const char* skip(const char* here, const char* end);
  bool isCapturingNumber() const { return mCaptureNumber && !mInSource && !mInHighlight; }
  void captureNumber(char c);
  void endNumber();
  void followObjects(const char* here);
  void leaveObject(const char* here);
  string* editCapture();
  void flushCapture(const char* end);
  void endCapture();
  void followHitList();
  void takeString(const char* here);
  bool isStringWanted() const;
  void takeOuterString(std::string_view token);
  void takeHitString(std::string_view token);
  void takeSourceString(std::string_view token);
  void takeId(std::string_view token);

  const char* mCaptureStart = nullptr;        ///< in the chunk: what follows is captured and not appended yet
  unique_ptr<JsonTokenizerState> mTokenizer;  ///< survives from chunk to chunk
  string mNumberText;                         ///< digits being collected
  string mToken;                              ///< the last finished string, if it came in several chunks
  string mSource;                             ///< raw `_source` of the hit at hand; also the error text
  string mHighlight;                          ///< raw `highlight` of the hit at hand
  string mId;                                 ///< id of the hit at hand, unescaped
  string mType;                               ///< value of a "type" one level inside `_source`
  vector<char> mUnescapeBuffer;               ///< scratch of the id's conversion
  string mScore;                              ///< raw text of `_score`
  string mScrollId;
  int32 mTotalHitCount = 0;     ///< 0 until read
  int32 mHitTag = 0;            ///< 0 outside "hits", 1 in the outer "hits" object, 2 in the inner "hits" array
  int32 mNextIs = 0;            ///< the next finished string is: 0 nothing, 1 the hit's id, 2 the scroll id, 3 the type
  bool mErrorFlag = false;      ///< parsing has failed or the reply carries "error"
  bool mInSource = false;       ///< characters go to `mSource`
  bool mInHighlight = false;    ///< characters go to `mHighlight`
  bool mCaptureNumber = false;  ///< characters go to `mNumberText`
};

}  // namespace qx::elasticsearch
