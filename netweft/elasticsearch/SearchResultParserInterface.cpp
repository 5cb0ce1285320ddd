#include "netweft/elasticsearch/SearchResultParserInterface.h"

#include "netweft/base/system/qxStringUtils.h"
#include "netweft/elasticsearch/internal/JsonToUtf8.h"
#include "netweft/elasticsearch/internal/JsonTokenizerState.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

// The shape of a reply, with the depth of curly brackets at which things stand:
//
//   {"_scroll_id":"...",                                                   1
//    "hits":{"total":12,                                                   2  outer "hits"
//            "hits":[{"_id":"...","_score":1.5,                            3  inner "hits", square depth 1
//                     "_source":{"type":"...", ...},                       4
//                     "highlight":{...}}, ...]}}
//
// or {"error":{...},"status":400}.

namespace qx::elasticsearch {

namespace {

/// Values of the hit tag. A third "hits" in the wrong place raises it further, where nothing matches any more.
constexpr int32 sOutsideHits = 0;
constexpr int32 sInHitsObject = 1;
constexpr int32 sInHitsArray = 2;

/// What the next finished string is.
constexpr int32 sNothing = 0;
constexpr int32 sHitId = 1;
constexpr int32 sScrollId = 2;
constexpr int32 sType = 3;

constexpr std::string_view sIdKey = "_id";
constexpr std::string_view sSourceKey = "_source";
constexpr std::string_view sScoreKey = "_score";
constexpr std::string_view sHighlightKey = "highlight";
constexpr std::string_view sTypeKey = "type";

constexpr bool IsHitKeySize(size_t size) {
  return size == sIdKey.size() || size == sScoreKey.size() || size == sSourceKey.size() || size == sHighlightKey.size();
}

constexpr int32 sDepthReply = 1;
constexpr int32 sDepthHits = 2;
constexpr int32 sDepthHit = 3;
constexpr int32 sDepthSource = 4;

/// Text of JSON that stands for itself, as nearly every id does.
bool IsPlainAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~' && c != '\\'; });
}

/// As C's `atoi`, held inside the range of an int.
int32 ToHitCount(const string& text) {
  const long long value = std::strtoll(text.c_str(), nullptr, 10);
  return static_cast<int32>(
      std::clamp<long long>(value, std::numeric_limits<int32>::min(), std::numeric_limits<int32>::max()));
}

}  // namespace

SearchResultParserInterface::SearchResultParserInterface() : mTokenizer(std::make_unique<JsonTokenizerState>()) {}

SearchResultParserInterface::~SearchResultParserInterface() = default;

bool SearchResultParserInterface::addData(const char* data, uint64 size) {
  if (size == 0) return !mErrorFlag;
  mTokenizer->beginChunk(data);
  mCaptureStart = data;
  const char* end = data + size;
  for (const char* here = data; here != end; ++here) {
    if (mErrorFlag && !mInSource) return false;
    if (!isCapturingNumber()) here = skip(here, end);
    if (here == end) break;
    consume(here);
  }
  flushCapture(end);
  const bool isAnySizeWanted = mTokenizer->curlyDepth < sDepthSource || mNextIs == sType;
  mTokenizer->endChunk(isAnySizeWanted ? std::numeric_limits<size_t>::max() : sTypeKey.size());
  return !mErrorFlag;
}

void SearchResultParserInterface::consume(const char* here) {
  mTokenizer->consume(here);
  if (isCapturingNumber()) captureNumber(*here);
  if (mTokenizer->hasChangedDepth()) {
    followObjects(here);
    followHitList();
  }
  if (mTokenizer->stringDone && isStringWanted()) takeString(here);
}

// Most of a reply is the inside of documents, and there one key alone means anything. Neither captures nor hits begin
// or end below the top of a document, which is left to `consume`.
const char* SearchResultParserInterface::skip(const char* here, const char* end) {
  const auto isWanted = [this](size_t size) { return mNextIs == sType || size == sTypeKey.size(); };
  here = mTokenizer->consumeNested(here, end, sDepthSource, isWanted);
  return mTokenizer->consumePlain(here, end);
}

void SearchResultParserInterface::captureNumber(char c) {
  switch (c) {
    case ':': mNumberText.clear(); break;
    case ',':
    case '}': endNumber(); break;
    default: mNumberText += c;
  }
}

void SearchResultParserInterface::endNumber() {
  mCaptureNumber = false;
  switch (mHitTag) {
    case sInHitsObject:
      if (mTotalHitCount != 0) mErrorFlag = true;
      mTotalHitCount = ToHitCount(mNumberText);
      break;
    case sInHitsArray: mScore = mNumberText; break;
    default: mErrorFlag = true;
  }
}

string* SearchResultParserInterface::editCapture() {
  if (mInSource) return &mSource;
  return mInHighlight ? &mHighlight : nullptr;
}

// What is captured is appended in runs as long as the chunk allows, and not byte by byte.
void SearchResultParserInterface::flushCapture(const char* end) {
  if (string* capture = editCapture()) capture->append(mCaptureStart, end);
  mCaptureStart = end;
}

void SearchResultParserInterface::endCapture() {
  if (mInSource) {
    mInSource = false;
  } else {
    mInHighlight = false;
  }
}

void SearchResultParserInterface::followObjects(const char* here) {
  if (mTokenizer->hasLeft()) return leaveObject(here);
  if (!mTokenizer->hasEntered() || mTokenizer->curlyDepth != sDepthSource) return;
  if (string* capture = editCapture()) capture->clear();
  mCaptureStart = here;
}

void SearchResultParserInterface::leaveObject(const char* here) {
  const int32 depth = mTokenizer->curlyDepth;
  if (mHitTag == sInHitsObject && depth == sDepthReply) mHitTag = sOutsideHits;
  flushCapture(here);
  if (string* capture = editCapture(); capture != nullptr && depth == sDepthHit) {
    *capture += '}';
    endCapture();
  }
  if (depth == sDepthHits && mHitTag == sInHitsArray && mTokenizer->squareDepth == 1) {
    onHit(mId, mSource, mScore, mHighlight, mType);
  }
}

void SearchResultParserInterface::followHitList() {
  const bool hasLeftList = mTokenizer->squareDepth < mTokenizer->prevSquareDepth;
  if (hasLeftList && mTokenizer->squareDepth == 0 && mHitTag == sInHitsArray) mHitTag = sInHitsObject;
}

void SearchResultParserInterface::takeString(const char* here) {
  if (mTokenizer->curlyDepth != sDepthSource) flushCapture(here);  // within a document no capture begins or ends
  const std::string_view token = mTokenizer->viewString(mToken);
  switch (mTokenizer->curlyDepth) {
    case sDepthReply:
    case sDepthHits: takeOuterString(token); break;
    case sDepthHit: takeHitString(token); break;
    case sDepthSource: takeSourceString(token); break;
    default: break;
  }
}

// By its size, so that what stands in hits and documents, and may be large, is not copied a second time.
bool SearchResultParserInterface::isStringWanted() const {
  const size_t size = mTokenizer->getStringSize();
  switch (mTokenizer->curlyDepth) {
    case sDepthHit: return mNextIs != sNothing || IsHitKeySize(size);
    case sDepthSource: return mNextIs == sType || size == sTypeKey.size();
    default: return mTokenizer->curlyDepth < sDepthSource;
  }
}

void SearchResultParserInterface::takeOuterString(std::string_view token) {
  const bool inList = mTokenizer->squareDepth != 0;
  const bool inReply = mTokenizer->curlyDepth == sDepthReply;
  if (mNextIs == sScrollId) {
    mScrollId = token;
    mNextIs = sNothing;
  } else if (token == "hits") {
    ++mHitTag;
  } else if (!inReply && !inList && mHitTag == sInHitsObject && token == "total") {
    mCaptureNumber = true;
  } else if (inReply && !inList && token == "_scroll_id") {
    mNextIs = sScrollId;
  } else if (inReply && !inList && token == "error") {
    mErrorFlag = true;
    mInSource = true;
  }
}

void SearchResultParserInterface::takeHitString(std::string_view token) {
  if (mTokenizer->squareDepth != 1 || mHitTag != sInHitsArray) return;
  if (mNextIs == sHitId) {
    takeId(token);
    mNextIs = sNothing;
  } else if (token == sSourceKey) {
    mInSource = true;
  } else if (token == sIdKey) {
    mNextIs = sHitId;
  } else if (token == sScoreKey) {
    mCaptureNumber = true;
  } else if (token == sHighlightKey) {
    mInHighlight = true;
  }
}

void SearchResultParserInterface::takeSourceString(std::string_view token) {
  if (mNextIs == sType) {
    mType = token;
    mNextIs = sNothing;
  } else if (token == sTypeKey) {
    mNextIs = sType;
    mType.clear();
  }
}

void SearchResultParserInterface::takeId(std::string_view token) {
  if (IsPlainAscii(token)) {
    mId = token;
    return;
  }
  mUnescapeBuffer.resize(token.size());
  char* const begin = mUnescapeBuffer.data();
  const char* const end =
      json_to_utf8(token.data(), token.data() + token.size(), begin, begin + mUnescapeBuffer.size(), nullptr);
  if (end == nullptr) {
    mSource = "json to utf8 conversion error";
    mErrorFlag = true;
  }
  mId.assign(begin, end == nullptr ? 0 : static_cast<size_t>(end - begin));
}

bool SearchResultParserInterface::finish(string* error) {
  const JsonTokenizerState& state = *mTokenizer;
  if (state.curlyDepth == 0 && state.squareDepth == 0 && mHitTag == 0 && mNextIs == 0 && !mErrorFlag) return true;
  if (error != nullptr) {
    *error = "Finish error : { => " + qxStringUtils::fromInt(state.curlyDepth, 1) + ", [ => " +
             qxStringUtils::fromInt(state.squareDepth, 1) + ", hittag => " + qxStringUtils::fromInt(mHitTag, 1) +
             ", nextis => " + qxStringUtils::fromInt(mNextIs, 1) + ", error => " + (mErrorFlag ? "1" : "0");
  }
  return false;
}

}  // namespace qx::elasticsearch
