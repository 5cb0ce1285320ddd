#pragma once

#include <map>
#include <string>
#include <string_view>

namespace qx::fuzz {

/// A property that any bytes are held against. A source that has one makes it a static object; the program finds it by
/// its name.
struct Target {
  /// Calls `Require` for each sentence that must be true. It must say the same of the same bytes whenever it runs.
  using Check = void (*)(std::string_view bytes);
  using Checks = std::map<std::string, Check, std::less<>>;

  Target(const char* name, Check check) { GetChecks().emplace(name, check); }

  /// Those of the program.
  static Checks& GetChecks() {
    static Checks checks;
    return checks;
  }
};

}  // namespace qx::fuzz
