#include "netweft/frame/Version.h"

namespace Netweft {

std::uint32_t Version::GetMajor() noexcept { return 3; }
std::uint32_t Version::GetMinor() noexcept { return 0; }
std::uint32_t Version::GetRelease() noexcept { return 0; }
std::uint32_t Version::GetRevision() noexcept { return 30; }
std::uint16_t Version::GetYear() noexcept { return 2026; }
std::uint8_t Version::GetMonth() noexcept { return 6; }

const char* Version::GetDescStringMajorMinor(bool) noexcept { return "3.0"; }
const char* Version::GetDescStringMajorMinorRelease(bool) noexcept { return "3.0.0"; }
const char* Version::GetDescStringMajorMinorReleaseRevision(bool) noexcept { return "3.0.0.30"; }
const char* Version::GetDescStringMajorMinorReleaseRevisionDate() noexcept { return "3.0.0.30 2026-6"; }

}  // namespace Netweft
