#pragma once

#include "netweft/base/system/qxTypes.h"

/// The system's resolver, replaced at link time.
namespace qx::test {

/// While it lives, look-ups answer as scripted; without one they reach the system.
class ScriptedResolver {
 public:
  /// `code` is what `getaddrinfo` returns; with 0 it lists one entry for each of `addresses`: "10.0.0.1" or "::1" are
  /// addresses, anything else is an entry of another family.
  ScriptedResolver(int code, vector<string> addresses);
  ScriptedResolver(const ScriptedResolver&) = delete;
  ScriptedResolver& operator=(const ScriptedResolver&) = delete;
  ~ScriptedResolver();

  /// Look-ups so far, and how many lists came back to be freed.
  int countLookUps() const;
  int countFreed() const;

  /// What the last look-up asked for.
  const string& getHost() const;
  bool hadService() const;
  int getFlags() const;
  int getFamily() const;
  int getSocketType() const;
  int getProtocol() const;

  struct State;

 private:
  unique_ptr<State> mState;
};

}  // namespace qx::test
