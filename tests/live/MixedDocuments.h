#pragma once

#include "netweft/base/system/qxTypes.h"

#include <random>

namespace qx::test {

/// Documents of mixed shapes, the same for the same seed: identifiers with quotes, slashes, percent signs, blanks, dots
/// and letters beyond ASCII; nested "_id", null in maps and lists, "contents" and "resources", lone surrogates, long
/// texts, attachments.
class MixedDocuments {
 public:
  explicit MixedDocuments(unsigned seed) : mRandom(seed) {}

  /// The identifier of document `number`.
  static string id(uint64 number);
  /// That identifier as it stands inside a JSON string.
  static string escapedId(uint64 number);

  /// A document as JSON text. `extra` are further members with a comma in front, such as a revision.
  string make(uint64 number, const string& extra = "");

  /// A JSON array of the documents from `first` on.
  string makeMany(uint64 first, uint64 count);

  uint64 below(uint64 bound) { return std::uniform_int_distribution<uint64>(0, bound - 1)(mRandom); }

 private:
  string text(uint64 length);

  std::mt19937 mRandom;
};

}  // namespace qx::test
