#include "tests/support/CurlTrace.h"

#include <curl/curl.h>

#include <atomic>
#include <cstdarg>
#include <type_traits>

extern "C" {
CURLcode __real_curl_easy_setopt(CURL* handle, CURLoption option, ...);
/// The option as the plain int that an enumeration is on the stack: `va_start` takes no other kind.
CURLcode __wrap_curl_easy_setopt(CURL* handle, int number, ...);
}

namespace qx::test {

namespace {

std::atomic<CurlTrace*> activeTrace = nullptr;

string ListText(const curl_slist* line) {
  string text = "[";
  for (; line != nullptr; line = line->next) text += string(text.size() > 1 ? ", " : "") + line->data;
  return text + "]";
}

string PointerText(curl_easytype type, const void* value) {
  if (value == nullptr) return "null";
  if (type == CURLOT_STRING) return "\"" + string(static_cast<const char*>(value)) + "\"";
  if (type == CURLOT_SLIST) return ListText(static_cast<const curl_slist*>(value));
  return "set";
}

string ValueText(curl_easytype, long value) { return std::to_string(value); }
string ValueText(curl_easytype type, const void* value) { return PointerText(type, value); }

const void* GetPointer(long) { return nullptr; }
const void* GetPointer(const void* value) { return value; }

CurlCall DescribeCall(void* handle, CURLoption option, auto value) {
  const curl_easyoption* const known = curl_easy_option_by_id(option);
  const string name = known != nullptr ? known->name : std::to_string(option);
  return {name + " " + ValueText(known == nullptr ? CURLOT_OBJECT : known->type, value), handle, option,
          GetPointer(value)};
}

/// Writes the call down and hands it on, unless the trace says how it fails. Without a trace nothing is allocated.
CURLcode Forward(void* handle, CURLoption option, auto value) {
  CurlTrace* const trace = activeTrace.load();
  const int failure = trace == nullptr ? 0 : trace->record(DescribeCall(handle, option, value));
  if constexpr (std::is_same_v<decltype(value), long>) {
    if (trace != nullptr) value = trace->exchange(option, value);
  }
  return failure != 0 ? static_cast<CURLcode>(failure) : __real_curl_easy_setopt(handle, option, value);
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const CurlCall& call) { return out << call.text; }

CurlTrace::CurlTrace() { activeTrace = this; }

CurlTrace::~CurlTrace() { activeTrace = nullptr; }

void CurlTrace::failOption(int option, int code) {
  const std::lock_guard lock(mMutex);
  mFailures[option] = code;
}

void CurlTrace::failNone() {
  const std::lock_guard lock(mMutex);
  mFailures.clear();
}

void CurlTrace::replaceNumber(int option, long value) {
  const std::lock_guard lock(mMutex);
  mNumbers[option] = value;
}

long CurlTrace::exchange(int option, long value) const {
  const std::lock_guard lock(mMutex);
  const auto replaced = mNumbers.find(option);
  return replaced == mNumbers.end() || value <= 0 ? value : replaced->second;
}

vector<CurlCall> CurlTrace::getCalls() const {
  const std::lock_guard lock(mMutex);
  return mCalls;
}

vector<string> CurlTrace::getTexts() const {
  vector<string> texts;
  for (const CurlCall& call : getCalls()) texts.push_back(call.text);
  return texts;
}

vector<string> CurlTrace::getTexts(const void* handle) const {
  vector<string> texts;
  for (const CurlCall& call : getCalls()) {
    if (call.handle == handle) texts.push_back(call.text);
  }
  return texts;
}

vector<string> CurlTrace::getValues(const string& name) const {
  vector<string> values;
  for (const string& text : getTexts()) {
    if (text.starts_with(name + " ")) values.push_back(text.substr(name.size() + 1));
  }
  return values;
}

void CurlTrace::clear() {
  const std::lock_guard lock(mMutex);
  mCalls.clear();
}

int CurlTrace::record(CurlCall call) {
  const std::lock_guard lock(mMutex);
  const auto failure = mFailures.find(call.option);
  mCalls.push_back(std::move(call));
  return failure == mFailures.end() ? 0 : failure->second;
}

}  // namespace qx::test

/// The one argument is a long, a curl_off_t or a pointer, by the range of the option's number.
CURLcode __wrap_curl_easy_setopt(CURL* handle, int number, ...) {
  const auto option = static_cast<CURLoption>(number);
  std::va_list arguments;
  va_start(arguments, number);
  CURLcode result = CURLE_OK;
  if (option >= CURLOPTTYPE_OFF_T && option < CURLOPTTYPE_BLOB) {
    result = qx::test::Forward(handle, option, va_arg(arguments, curl_off_t));
  } else if (option < CURLOPTTYPE_OBJECTPOINT) {
    result = qx::test::Forward(handle, option, va_arg(arguments, long));
  } else {
    result = qx::test::Forward(handle, option, va_arg(arguments, void*));
  }
  va_end(arguments);
  return result;
}
