#include "netweft/addressing/ResolveHostName.h"

#include "netweft/addressing/internal/Sockets.h"
#include "netweft/base/system/qxLogObject.h"

namespace qx {

namespace {

struct AddressListDeleter {
  void operator()(addrinfo* list) const noexcept { freeaddrinfo(list); }
};
using AddressListPtr = unique_ptr<addrinfo, AddressListDeleter>;

const char* GetFailureWord(int code) {
  switch (code) {
    case EAI_AGAIN: return " (EAI_AGAIN)";
    case EAI_BADFLAGS: return " (EAI_BADFLAGS)";
    case EAI_FAIL: return " (EAI_FAIL)";
    case EAI_FAMILY: return " (EAI_FAMILY)";
    case EAI_MEMORY: return " (EAI_MEMORY)";
    case EAI_NONAME: return " (EAI_NONAME)";
    case EAI_SERVICE: return " (EAI_SERVICE)";
    case EAI_SOCKTYPE: return " (EAI_SOCKTYPE)";
    default: return "";
  }
}

int LookUp(const string& host, AddressListPtr& result) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_protocol = IPPROTO_TCP;
  addrinfo* first = nullptr;
  const int code = getaddrinfo(host.c_str(), nullptr, &hints, &first);
  result.reset(first);
  return code;
}

void AppendWithPort(const addrinfo& entry, uint16 port, vector<IpAddress>& out) {
  if (entry.ai_family == AF_INET) {
    auto* address = reinterpret_cast<sockaddr_in*>(entry.ai_addr);
    address->sin_port = htons(port);
    out.emplace_back().fromIPv4(address);
  } else if (entry.ai_family == AF_INET6) {
    auto* address = reinterpret_cast<sockaddr_in6*>(entry.ai_addr);
    address->sin6_port = htons(port);
    out.emplace_back().fromIPv6(address);
  }
}

}  // namespace

bool ResolveHostName(const string& host, uint16 port, vector<IpAddress>& out) {
  out.clear();
  // The resolver would not see what stands behind a NUL, and resolve another host than the one that was named.
  if (host.empty() || host.find('\0') != string::npos) return false;
  AddressListPtr entries;
  if (const int code = LookUp(host, entries); code != 0) {
    LogDetail("") << "getaddrinfo return " << code << GetFailureWord(code);
    return false;
  }
  for (const addrinfo* entry = entries.get(); entry != nullptr; entry = entry->ai_next) {
    AppendWithPort(*entry, port, out);
  }
  return !out.empty();
}

}  // namespace qx
