#include "netweft/base/json/JsonStreamer.h"

#include "netweft/base/json/internal/JsonOutput.h"
#include "netweft/base/json/internal/JsonString.h"

namespace qx::json {

struct NETWEFT_HIDDEN JsonStreamer::State {
  enum class Place { Outside, InObject, InList, InArrayOfObject, InArrayOfList };

  State(qxIoDevice* device, bool wantPretty) : out(device), pretty(wantPretty) {}

  /// Whether a call fits the place; a call that does not is remembered, so that `end` tells of a malformed text.
  bool demand(bool fits) {
    if (!fits) misused = true;
    return fits && !out.failed();
  }

  void open(Place next, char bracket) {
    out.put(bracket);
    place = next;
    empty = true;
  }

  /// `empty` is about the innermost level; behind an array its parent is not empty.
  void close(Place next, char bracket) {
    place = next;
    if (!empty) breakLine();
    out.put(bracket);
    empty = false;
  }

  void separate() {
    if (!empty) out.put(',');
    empty = false;
    breakLine();
  }

  void breakLine() {
    if (!pretty) return;
    const size_t depth = place == Place::Outside ? 0 : inArray() ? 2 : 1;
    out.put('\n');
    out.putBlanks(2 * depth);
  }

  void putString(const string& text) {
    out.put('"');
    PutJsonString(text, out);
    out.put('"');
  }

  bool inArray() const { return place == Place::InArrayOfObject || place == Place::InArrayOfList; }

  JsonOutput out;
  const bool pretty;
  Place place = Place::Outside;
  bool empty = true;
  bool misused = false;
};

JsonStreamer::JsonStreamer(qxIoDevice* out, bool pretty) : mState(std::make_unique<State>(out, pretty)) {}

JsonStreamer::~JsonStreamer() = default;

bool JsonStreamer::begin(LevelType type) {
  if (mState->place != State::Place::Outside || mState->out.failed()) return false;
  const bool object = type == LVL_Object;
  mState->open(object ? State::Place::InObject : State::Place::InList, object ? '{' : '[');
  return true;
}

void JsonStreamer::arrayBegin(const string& name) {
  const State::Place parent = mState->place;
  if (!mState->demand(parent == State::Place::InObject || parent == State::Place::InList)) return;
  mState->separate();
  if (parent == State::Place::InObject) {
    mState->putString(name);
    mState->out.put(mState->pretty ? ": " : ":");
  }
  mState->open(parent == State::Place::InObject ? State::Place::InArrayOfObject : State::Place::InArrayOfList, '[');
}

void JsonStreamer::arrayEnd() {
  if (!mState->demand(mState->inArray())) return;
  const bool inObject = mState->place == State::Place::InArrayOfObject;
  mState->close(inObject ? State::Place::InObject : State::Place::InList, ']');
}

void JsonStreamer::arrayString(const string& value) {
  if (!mState->demand(mState->inArray() || mState->place == State::Place::InList)) return;
  mState->separate();
  mState->putString(value);
}

bool JsonStreamer::end() {
  const State::Place place = mState->place;
  const bool object = place == State::Place::InObject;
  if (mState->demand(object || place == State::Place::InList)) {
    mState->close(State::Place::Outside, object ? '}' : ']');
  }
  return mState->out.flush() && !mState->misused;
}

string JsonStreamer::ConvertToJsonString(const char* text) {
  return text == nullptr ? string() : ConvertToJsonString(string(text));
}

string JsonStreamer::ConvertToJsonString(const string& text) {
  string escaped;
  AppendJsonString(text, escaped);
  return escaped;
}

uint64 JsonStreamer::ConvertToJsonStringSize(const char* text) { return text == nullptr ? 0 : JsonStringSize(text); }

uint64 JsonStreamer::ConvertToJsonStringSize(const string& text) { return JsonStringSize(text); }

}  // namespace qx::json
