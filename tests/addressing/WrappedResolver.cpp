#include "tests/addressing/WrappedResolver.h"

#include "netweft/addressing/internal/Sockets.h"

#include <deque>

extern "C" {
int __real_getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** result);
void __real_freeaddrinfo(addrinfo* list);
int __wrap_getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** result);
void __wrap_freeaddrinfo(addrinfo* list);
}

namespace qx::test {

struct ScriptedResolver::State {
  int code = 0;
  std::deque<addrinfo> entries;
  std::deque<sockaddr_in6> storage;
  int lookUps = 0;
  int freed = 0;
  string host;
  bool hadService = false;
  addrinfo hints{};
};

namespace {

ScriptedResolver::State* active = nullptr;

void Append(ScriptedResolver::State& state, const string& text) {
  sockaddr_in6& storage = state.storage.emplace_back();
  auto* v4 = reinterpret_cast<sockaddr_in*>(&storage);
  addrinfo entry{};
  if (inet_pton(AF_INET, text.c_str(), &v4->sin_addr) == 1) {
    entry.ai_family = AF_INET;
  } else if (inet_pton(AF_INET6, text.c_str(), &storage.sin6_addr) == 1) {
    entry.ai_family = AF_INET6;
  } else {
    entry.ai_family = AF_UNIX;
  }
  storage.sin6_family = static_cast<sa_family_t>(entry.ai_family);
  entry.ai_addr = reinterpret_cast<sockaddr*>(&storage);
  state.entries.push_back(entry);
  if (state.entries.size() > 1) state.entries[state.entries.size() - 2].ai_next = &state.entries.back();
}

}  // namespace

ScriptedResolver::ScriptedResolver(int code, vector<string> addresses) : mState(std::make_unique<State>()) {
  mState->code = code;
  for (const string& address : addresses) Append(*mState, address);
  active = mState.get();
}

ScriptedResolver::~ScriptedResolver() { active = nullptr; }

int ScriptedResolver::countLookUps() const { return mState->lookUps; }
int ScriptedResolver::countFreed() const { return mState->freed; }
const string& ScriptedResolver::getHost() const { return mState->host; }
bool ScriptedResolver::hadService() const { return mState->hadService; }
int ScriptedResolver::getFlags() const { return mState->hints.ai_flags; }
int ScriptedResolver::getFamily() const { return mState->hints.ai_family; }
int ScriptedResolver::getSocketType() const { return mState->hints.ai_socktype; }
int ScriptedResolver::getProtocol() const { return mState->hints.ai_protocol; }

}  // namespace qx::test

extern "C" {

int __wrap_getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** result) {
  auto* state = qx::test::active;
  if (state == nullptr) return __real_getaddrinfo(node, service, hints, result);
  ++state->lookUps;
  state->host = node;
  state->hadService = service != nullptr;
  state->hints = *hints;
  if (!state->entries.empty()) *result = &state->entries.front();
  return state->code;
}

void __wrap_freeaddrinfo(addrinfo* list) {
  auto* state = qx::test::active;
  if (state == nullptr) return __real_freeaddrinfo(list);
  ++state->freed;
}
}
