#pragma once

#include "netweft/base/system/qxTypes.h"

#include <mutex>
#include <ostream>

namespace qx::test {

/// One call of `curl_easy_setopt`.
struct CurlCall {
  /// "NAME value" with libcurl's name of the option, without its prefix. Values: a number; a text in double quotes; a
  /// list as its lines between brackets, separated by ", "; "set" for any other pointer or function; "null" in place of
  /// each.
  string text;
  void* handle = nullptr;
  int option = 0;  ///< the CURLoption
  /// What the handle was given when it is a pointer or a function; it may be stale.
  const void* pointer = nullptr;
};

std::ostream& operator<<(std::ostream& out, const CurlCall& call);

/// While it lives, every `curl_easy_setopt` of the program is written down before it is handed on. One at a time in a
/// process; calls may come from any thread.
///
/// For programs that are linked with `WRAP curl_easy_setopt` and list this class's source among their own.
class CurlTrace {
 public:
  CurlTrace();
  CurlTrace(const CurlTrace&) = delete;
  CurlTrace& operator=(const CurlTrace&) = delete;
  ~CurlTrace();

  /// From now on every call for `option` returns `code` and is not handed on.
  void failOption(int option, int code);
  void failNone();
  /// From now on every call that gives the option, which takes a number, one above 0 is handed on with `value` in its
  /// place.
  void replaceNumber(int option, long value);

  vector<CurlCall> getCalls() const;
  /// The texts of the calls, in order; with a handle those for it alone.
  vector<string> getTexts() const;
  vector<string> getTexts(const void* handle) const;
  /// The values of one option, by its name as in `CurlCall::text`.
  vector<string> getValues(const string& name) const;
  void clear();

  /// What is handed on in place of the number.
  long exchange(int option, long value) const;
  /// Keeps the call; the code that it must return without being handed on, or 0.
  int record(CurlCall call);

 private:
  mutable std::mutex mMutex;
  vector<CurlCall> mCalls;
  map<int, int> mFailures;
  map<int, long> mNumbers;
};

}  // namespace qx::test
