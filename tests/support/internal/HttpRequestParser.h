#pragma once

#include "tests/support/Request.h"

#include <string_view>

namespace qx::test {

/// Cuts what a client sends into requests. It trusts the client: it is for tests of ours, not for strangers.
class HttpRequestParser {
 public:
  /// Appends bytes; complete requests go to the end of `out`.
  void feed(std::string_view bytes, vector<Request>& out);

  /// True once for each request whose head asks "Expect: 100-continue".
  bool takeWantsContinue();

 private:
  enum State { S_Head, S_SizedBody, S_ChunkSize, S_ChunkData, S_ChunkTrailer };

  /// True when the state moved, and more may be done with what is there.
  bool advance(vector<Request>& out);
  bool readHead(vector<Request>& out);
  bool readSizedBody(vector<Request>& out);
  bool readChunkSize();
  bool readChunkData();
  bool readChunkTrailer(vector<Request>& out);
  void parseHead(const string& head);
  void finish(vector<Request>& out);
  /// Moves `n` bytes from the input to the raw text of the request.
  string take(uint64 n);

  State mState = S_Head;
  string mInput;
  Request mRequest;
  uint64 mBodyLeft = 0;
  bool mWantsContinue = false;
};

}  // namespace qx::test
