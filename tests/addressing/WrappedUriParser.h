#pragma once

/// uriparser's functions, replaced at link time.
namespace qx::test {

/// The calls that can be made to fail.
enum class UriCall { Parse, Normalize, DissectQuery };

/// While it lives, `call` answers with the error `code` and does nothing; without one it reaches uriparser.
class ScriptedUriCode {
 public:
  ScriptedUriCode(UriCall call, int code);
  ScriptedUriCode(const ScriptedUriCode&) = delete;
  ScriptedUriCode& operator=(const ScriptedUriCode&) = delete;
  ~ScriptedUriCode();

 private:
  UriCall mCall;
};

/// The mask of the last normalizing.
unsigned int GetLastNormalizeMask();

}  // namespace qx::test
