#pragma once

#include <string>

/// The texts that the JSON benchmarks read and write; the same bytes in each run.
namespace documents {

/// A database document of about 2 KiB as the River reads it by the thousand: members in no order, nesting of three
/// levels, short strings for the most part, some numbers, a paragraph of prose that is not ASCII alone.
const std::string& Typical();

/// A reply of about 8 MiB with many such documents in one list.
const std::string& Large();

}  // namespace documents
