// Any bytes, in one piece, one byte at a time and cut once: the parser must not crash, and where it is cut must make no
// difference. The first byte of the input chooses the cut.

#include "tests/elasticsearch/RecordingParser.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace qx::elasticsearch::test;
  if (size == 0) return 0;
  const std::string_view reply(reinterpret_cast<const char*>(data) + 1, size - 1);
  const Reading whole = Read(reply);
  if (ReadCutAt(reply, reply.size() * data[0] / 256) != whole) std::abort();
  if (ReadByteByByte(reply) != whole) std::abort();
  return 0;
}
