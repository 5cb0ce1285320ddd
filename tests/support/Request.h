#pragma once

#include "netweft/base/system/qxTypes.h"

namespace qx::test {

/// One HTTP request as the scripted server got it. All of it is what stood on the wire: nothing decoded, nothing
/// folded.
struct Request {
  uint64 connection = 0;                 ///< index of the connection, in the order in which they were accepted
  string line;                           ///< "GET /a?b=c HTTP/1.1"
  string method;                         ///< "GET"
  string target;                         ///< "/a?b=c"
  vector<pair<string, string>> headers;  ///< in order, names as sent, values without the white space around them
  string body;                           ///< without chunk framing
  string raw;                            ///< head and body, byte for byte

  /// Names are compared without letter case. The first value, or an empty text when there is none.
  string getHeader(const string& name) const;
  uint64 countHeaders(const string& name) const;
  bool hasHeader(const string& name) const { return countHeaders(name) != 0; }
  /// True when a header line reads exactly so: "Content-Type: application/json".
  bool hasHeaderLine(const string& line) const;
};

}  // namespace qx::test
