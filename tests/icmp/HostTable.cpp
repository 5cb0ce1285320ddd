#include "tests/icmp/HostTable.h"

#include "netweft/addressing/internal/Sockets.h"

#include <mutex>
#include <optional>

extern "C" {
int __real_getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** result);
int __wrap_getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** result);
}

namespace qx::test {

struct HostTable::State {
  map<string, vector<string>> names;
  std::function<void(const string& name)> onLookUp;
  int lookUps = 0;
};

namespace {

std::mutex mutex;
HostTable::State* active = nullptr;

std::optional<vector<string>> Find(const string& name, std::function<void(const string&)>& onLookUp) {
  const std::lock_guard lock(mutex);
  if (active == nullptr) return std::nullopt;
  const auto found = active->names.find(name);
  if (found == active->names.end()) return std::nullopt;
  ++active->lookUps;
  onLookUp = active->onLookUp;
  return found->second;
}

/// The entries of all addresses in one list. The C library frees entry by entry, so lists may be joined.
int Join(const vector<string>& addresses, const addrinfo* hints, addrinfo** result) {
  *result = nullptr;
  addrinfo** end = result;
  for (const string& address : addresses) {
    if (const int code = __real_getaddrinfo(address.c_str(), nullptr, hints, end); code != 0) return code;
    while (*end != nullptr) end = &(*end)->ai_next;
  }
  return addresses.empty() ? EAI_NONAME : 0;
}

}  // namespace

HostTable::HostTable() : mState(std::make_unique<State>()) {
  const std::lock_guard lock(mutex);
  active = mState.get();
}

HostTable::~HostTable() {
  const std::lock_guard lock(mutex);
  active = nullptr;
}

void HostTable::add(const string& name, const vector<string>& addresses) {
  const std::lock_guard lock(mutex);
  mState->names[name] = addresses;
}

void HostTable::setOnLookUp(std::function<void(const string& name)> onLookUp) {
  const std::lock_guard lock(mutex);
  mState->onLookUp = std::move(onLookUp);
}

int HostTable::countLookUps() const {
  const std::lock_guard lock(mutex);
  return mState->lookUps;
}

}  // namespace qx::test

extern "C" int __wrap_getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** result) {
  std::function<void(const std::string&)> onLookUp;
  const auto addresses = qx::test::Find(node, onLookUp);
  if (!addresses) return __real_getaddrinfo(node, service, hints, result);
  if (onLookUp) onLookUp(node);
  return qx::test::Join(*addresses, hints, result);
}
