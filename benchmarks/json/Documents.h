#pragma once

#include <string>
#include <vector>

/// The texts that the JSON benchmarks read and write, made in the shapes of well-known ones; the same bytes in each
/// run.
namespace documents {

struct Document {
  std::string name;
  std::string text;
};

/// "order": a database document of about 2 KiB as the River reads it by the thousand, with members in no order, three
/// levels, short strings, some numbers, and a paragraph that is not ASCII alone. "tweets": 200 results of a search,
/// 0.4 MiB, with many small members, escapes and Japanese text. "catalogue": events and seats, 1.5 MiB, indented, with
/// many numbers in small objects. "view": a CouchDB view of 4 MiB with an order in each row.
const std::vector<Document>& All();

/// The text of that name, which must be one of them.
const std::string& Get(const std::string& name);

}  // namespace documents
