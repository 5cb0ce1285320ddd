#pragma once

#include "netweft/elasticsearch/SearchResultParserInterface.h"

#include <ostream>
#include <string_view>

namespace qx::elasticsearch::test {

/// One hit as a subclass gets it.
struct Hit {
  string id;
  string source;
  string score;
  string highlight;
  string type;

  bool operator==(const Hit& other) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Hit& hit) {
  return out << "{id " << hit.id << ", source " << hit.source << ", score " << hit.score << ", highlight "
             << hit.highlight << ", type " << hit.type << "}";
}

class RecordingParser final : public SearchResultParserInterface {
 public:
  vector<Hit> hits;

 private:
  void onHit(string& id, string& source, string& score, string& highlight, string& type) override {
    hits.push_back({id, source, score, highlight, type});
  }
};

/// All that a caller can see of one reply.
struct Reading {
  vector<Hit> hits;
  int total = 0;
  string scrollId;
  string errorMessage;
  bool accepted = false;  ///< what `addData` said to the last chunk
  bool finished = false;
  string finishError;

  bool operator==(const Reading& other) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Reading& reading) {
  for (const Hit& hit : reading.hits) out << hit << "\n";
  return out << "total " << reading.total << ", scroll " << reading.scrollId << ", message " << reading.errorMessage
             << ", accepted " << reading.accepted << ", finished " << reading.finished << " " << reading.finishError;
}

inline Reading Conclude(RecordingParser& parser, bool accepted) {
  Reading reading;
  reading.finished = parser.finish(&reading.finishError);
  reading.hits = parser.hits;
  reading.total = parser.getTotalHitCount();
  reading.scrollId = parser.getScrollId();
  reading.errorMessage = parser.getErrorMessage();
  reading.accepted = accepted;
  return reading;
}

/// Feeds the chunks from memory of their own, so that a pointer kept across chunks is seen. Goes on after a refusal.
inline Reading ReadChunks(const vector<std::string_view>& chunks) {
  RecordingParser parser;
  bool accepted = true;
  for (const std::string_view chunk : chunks) {
    const vector<char> copy(chunk.begin(), chunk.end());
    accepted = parser.addData(copy.data(), copy.size());
  }
  return Conclude(parser, accepted);
}

inline Reading Read(std::string_view reply) { return ReadChunks({reply}); }

inline Reading ReadCutAt(std::string_view reply, size_t cut) {
  return ReadChunks({reply.substr(0, cut), reply.substr(cut)});
}

inline Reading ReadByteByByte(std::string_view reply) {
  vector<std::string_view> chunks;
  for (size_t i = 0; i < reply.size(); ++i) chunks.push_back(reply.substr(i, 1));
  return ReadChunks(chunks);
}

}  // namespace qx::elasticsearch::test
