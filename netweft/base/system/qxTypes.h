#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

/// The spellings that the whole library uses for plain types.
namespace qx {

/// 64-bit integers name the same type on every platform, so that every spelling of a signature links.
using int64 = long long;
using uint64 = unsigned long long;
using int32 = std::int32_t;
using uint32 = std::uint32_t;
using uint16 = std::uint16_t;

using std::list;
using std::map;
using std::pair;
using std::set;
using std::shared_ptr;
using std::string;
using std::unique_ptr;
using std::vector;

/// A growable run of bytes; no encoding is implied.
using bytes = std::vector<char>;

/// Pairs in order, duplicates allowed: URL query parameters.
using StringPairList = std::list<std::pair<std::string, std::string>>;

}  // namespace qx
