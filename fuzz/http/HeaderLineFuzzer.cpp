#include "fuzz/Require.h"
#include "fuzz/Target.h"
#include "netweft/http/HttpMultiConnection.h"

/// A header line is cut at its first colon and loses nothing but white space and the case of its key; what was cut
/// gives the same two texts when it is put together and cut again.
namespace qx::fuzz {
namespace {

constexpr std::string_view sSpace = " \t\n\v\f\r";

std::string_view Trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(sSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(sSpace) + 1 - first);
}

struct Header {
  bool operator==(const Header& other) const = default;

  string key = "of the line before";
  string value = "of the line before";
};

Header Parse(std::string_view line) {
  Header header;
  http::HttpMultiConnection::ParseHttpHeader(line.data(), line.size(), header.key, header.value);
  return header;
}

char ToLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

void Check(std::string_view line) {
  const Header header = Parse(line);
  const size_t colon = line.find(':');
  if (colon == std::string_view::npos) {
    Require(header == Header{string(Trimmed(line)), ""}, "a line without a colon is a key of its own");
    return;
  }
  string key(Trimmed(line.substr(0, colon)));
  for (char& c : key) c = ToLower(c);
  Require(header == Header{key, string(Trimmed(line.substr(colon + 1)))}, "a line is cut at its first colon");
  Require(Parse(header.key + " : " + header.value + "\r\n") == header, "what was cut is cut the same way again");
}

const Target sTarget("header_line", Check);

}  // namespace
}  // namespace qx::fuzz
