#pragma once

#include <filesystem>

#if !defined(__has_feature)
#  define __has_feature(x) 0
#endif

namespace qx::test {

inline constexpr const char* kNoPacSupport =
    "libproxy runs no proxy scripts here: its plugin (Debian: libproxy1-plugin-webkit) is not installed, or this is a "
    "sanitizer build, in which its JavaScript engine does not run";

/// True when libproxy can run a proxy script (PAC) in this process.
inline bool IsPacSupported() {
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || defined(__SANITIZE_ADDRESS__) || \
    defined(__SANITIZE_THREAD__)
  return false;
#else
  for (const char* folder : {"/usr/lib/x86_64-linux-gnu/libproxy", "/usr/lib/aarch64-linux-gnu/libproxy",
                             "/usr/lib/libproxy", "/usr/lib64/libproxy"}) {
    std::error_code none;
    for (const auto& file : std::filesystem::recursive_directory_iterator(folder, none)) {
      if (file.path().filename().string().starts_with("pacrunner_")) return true;
    }
  }
  return false;
#endif
}

}  // namespace qx::test
