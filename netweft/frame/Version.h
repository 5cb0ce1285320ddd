#pragma once

#include "netweft/base/system/NetweftExport.h"

#include <cstdint>

namespace Netweft {

/// The library's own version, fixed when it was built. The texts live as long as the library; the flag of the three
/// getters that take one is ignored.
struct NETWEFT_EXPORT Version {
  /// The numbers of the texts below.
  static std::uint32_t GetMajor() noexcept;
  static std::uint32_t GetMinor() noexcept;
  static std::uint32_t GetRelease() noexcept;
  static std::uint32_t GetRevision() noexcept;
  static std::uint16_t GetYear() noexcept;
  static std::uint8_t GetMonth() noexcept;

  /// "3.0"
  static const char* GetDescStringMajorMinor(bool ignored) noexcept;
  /// "3.0.0"
  static const char* GetDescStringMajorMinorRelease(bool ignored) noexcept;
  /// "3.0.0.30"
  static const char* GetDescStringMajorMinorReleaseRevision(bool ignored) noexcept;
  /// "3.0.0.30 2026-6": year and month, the month without a leading zero.
  static const char* GetDescStringMajorMinorReleaseRevisionDate() noexcept;
};

}  // namespace Netweft
