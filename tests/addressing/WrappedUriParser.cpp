#include "WrappedUriParser.h"

#include <uriparser/Uri.h>
#include <array>

namespace qx::test {
namespace {

std::array<int, 3> scriptedCodes{};
unsigned int lastNormalizeMask = 0;

int& CodeOf(UriCall call) { return scriptedCodes[static_cast<std::size_t>(call)]; }

}  // namespace

ScriptedUriCode::ScriptedUriCode(UriCall call, int code) : mCall(call) { CodeOf(call) = code; }

ScriptedUriCode::~ScriptedUriCode() { CodeOf(mCall) = 0; }

unsigned int GetLastNormalizeMask() { return lastNormalizeMask; }

}  // namespace qx::test

using qx::test::CodeOf;
using qx::test::UriCall;

extern "C" {
int __real_uriParseUriExA(UriParserStateA* state, const char* first, const char* afterLast);
int __real_uriNormalizeSyntaxExA(UriUriA* uri, unsigned int mask);
int __real_uriDissectQueryMallocA(UriQueryListA** list, int* count, const char* first, const char* afterLast);
int __wrap_uriParseUriExA(UriParserStateA* state, const char* first, const char* afterLast);
int __wrap_uriNormalizeSyntaxExA(UriUriA* uri, unsigned int mask);
int __wrap_uriDissectQueryMallocA(UriQueryListA** list, int* count, const char* first, const char* afterLast);

int __wrap_uriParseUriExA(UriParserStateA* state, const char* first, const char* afterLast) {
  const int code = CodeOf(UriCall::Parse);
  return code != 0 ? code : __real_uriParseUriExA(state, first, afterLast);
}

int __wrap_uriNormalizeSyntaxExA(UriUriA* uri, unsigned int mask) {
  qx::test::lastNormalizeMask = mask;
  const int code = CodeOf(UriCall::Normalize);
  return code != 0 ? code : __real_uriNormalizeSyntaxExA(uri, mask);
}

int __wrap_uriDissectQueryMallocA(UriQueryListA** list, int* count, const char* first, const char* afterLast) {
  const int code = CodeOf(UriCall::DissectQuery);
  return code != 0 ? code : __real_uriDissectQueryMallocA(list, count, first, afterLast);
}
}
