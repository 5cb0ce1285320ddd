#include "tests/live/MixedDocuments.h"

#include "netweft/base/json/JsonStreamer.h"

namespace qx::test {

string MixedDocuments::id(uint64 number) {
  const string n = std::to_string(number);
  switch (number) {
    case 1: return ".";
    case 2: return "..";
    case 3: return "...";
    default: break;
  }
  switch (number % 11) {
    case 0: return "quote\"" + n;
    case 1: return "a/slash/" + n;
    case 2: return "per%20cent%" + n;
    case 3: return "with blank " + n;
    case 4: return "caf\xC3\xA9-\xE6\x97\xA5\xE6\x9C\xAC-\xF0\x9F\x98\x80-" + n;
    case 5: return "back\\slash" + n;
    case 6: return "plus+and&amp=" + n;
    case 7: return "question?" + n + "#hash";
    default: return "plain" + n;
  }
}

string MixedDocuments::escapedId(uint64 number) { return json::JsonStreamer::ConvertToJsonString(id(number)); }

string MixedDocuments::text(uint64 length) {
  string text;
  while (text.size() < length) text += "word" + std::to_string(below(1000)) + " ";
  return text;
}

string MixedDocuments::make(uint64 number, const string& extra) {
  string document = "{\"_id\":\"" + escapedId(number) + "\"" + extra;
  document += ",\"kind\":" + std::to_string(number % 3) + ",\"n\":" + std::to_string(below(1'000'000));
  switch (number % 9) {
    case 0: document += R"(,"nested":{"_id":"inner","a":{"_id":null}},"list":[null,{"_id":1},[]])"; break;
    case 1:
      document += R"(,"contents":{"big":[1,2,3]},"resources":["r"],"deep":{"contents":1,"resources":null})";
      break;
    case 2:
      document += R"(,"lone":"\ud83d end","pair":"\ud83d\ude00","nul":"a\u0000b","esc":"\"\\\/\b\f\n\r\t")";
      break;
    case 3: document += R"(,"nothing":null,"empty":{},"none":[],"t":true,"f":false,"frac":-0.125)"; break;
    case 4: document += ",\"text\":\"" + text(500 + below(4000)) + "\""; break;
    case 5: document += R"(,"value":"_id","under":{"_underscore":1})"; break;
    case 6: document += R"(,"_attachments":{"a.txt":{"content_type":"text/plain","data":"aGVsbG8="}})"; break;
    default: break;
  }
  if (number % 4999 == 4000) document += ",\"huge\":\"" + text(1'048'576) + "\"";
  return document + "}";
}

string MixedDocuments::makeMany(uint64 first, uint64 count) {
  string all = "[";
  for (uint64 number = first; number < first + count; ++number) {
    if (number != first) all += ",";
    all += make(number);
  }
  return all + "]";
}

}  // namespace qx::test
