#pragma once

#include "netweft/base/system/qxTypes.h"
#include "tests/support/Gate.h"

#include <functional>

/// The system's resolver, replaced at link time for names that a test makes up. Addresses written as text and all other
/// names reach the system.
namespace qx::test {

/// While it lives, its names resolve as told. One at a time. Names may be added while look-ups run.
class HostTable {
 public:
  HostTable();
  HostTable(const HostTable&) = delete;
  HostTable& operator=(const HostTable&) = delete;
  ~HostTable();

  /// Without addresses the name is unknown.
  void add(const string& name, const vector<string>& addresses);

  /// Called on the thread that looks a name of the table up, before it is answered.
  void setOnLookUp(std::function<void(const string& name)> onLookUp);

  int countLookUps() const;

  struct State;

 private:
  unique_ptr<State> mState;
};

}  // namespace qx::test
