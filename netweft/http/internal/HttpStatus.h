#pragma once

namespace qx::http {

/// The status codes that the clients tell apart. Plain numbers, since libcurl gives them as long, results hold them
/// unsigned, and an expected one goes into a byte.
inline constexpr int sHttpOk = 200;
inline constexpr int sHttpCreated = 201;
inline constexpr int sHttpNotFound = 404;

}  // namespace qx::http
