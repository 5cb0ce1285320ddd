#include "netweft/addressing/IpAddress.h"

#include "netweft/addressing/internal/Sockets.h"
#include "netweft/base/system/qxStringUtils.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace qx {

union IpAddress::SocketAddress {
  // The largest first: it is the one that value initialisation zeroes.
  sockaddr_in6 v6;
  sockaddr_in v4;
  sockaddr any;
};

namespace {

constexpr size_t kIPv4TextSize = 22;
constexpr size_t kIPv6TextSize = 65;

using IPv4Bytes = std::array<unsigned char, 4>;
using IPv6Bytes = std::array<unsigned char, 16>;

IPv4Bytes GetBytes(const sockaddr_in& address) {
  IPv4Bytes result;
  std::memcpy(result.data(), &address.sin_addr, result.size());
  return result;
}

IPv6Bytes GetBytes(const sockaddr_in6& address) {
  IPv6Bytes result;
  std::memcpy(result.data(), &address.sin6_addr, result.size());
  return result;
}

bool IsMappedFrom(const IPv6Bytes& mapped, const IPv4Bytes& address) {
  constexpr std::array<unsigned char, 12> prefix{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
  return std::equal(prefix.begin(), prefix.end(), mapped.begin()) &&
         std::equal(address.begin(), address.end(), mapped.begin() + prefix.size());
}

template <size_t Size>
string ToText(int family, const void* address) {
  std::array<char, Size> text;
  const char* result = inet_ntop(family, address, text.data(), Size);
  return result == nullptr ? string() : string(result);
}

}  // namespace

IpAddress::IpAddress() noexcept = default;

IpAddress::IpAddress(const string& text, Type type) { fromStringAddress(text, type); }

IpAddress::IpAddress(const IpAddress& other) { *this = other; }

IpAddress& IpAddress::operator=(const IpAddress& other) {
  clear();
  if (other.mAddress == nullptr) return *this;
  mAddress = std::make_unique<SocketAddress>(*other.mAddress);
  mType = other.mType;
  return *this;
}

IpAddress::IpAddress(IpAddress&& other) noexcept { *this = std::move(other); }

IpAddress& IpAddress::operator=(IpAddress&& other) noexcept {
  clear();
  mAddress = std::move(other.mAddress);
  mType = std::exchange(other.mType, IPT_Invalid);
  return *this;
}

IpAddress::~IpAddress() = default;

void IpAddress::clear() noexcept {
  mAddress.reset();
  mType = IPT_Invalid;
}

void IpAddress::fromIPv4(const sockaddr_in* address) {
  if (address == nullptr || address->sin_family != AF_INET) return clear();
  // `address` may point into this object.
  auto copy = std::make_unique<SocketAddress>();
  copy->v4 = *address;
  mAddress = std::move(copy);
  mType = IPT_IPv4;
}

void IpAddress::fromIPv6(const sockaddr_in6* address) {
  if (address == nullptr || address->sin6_family != AF_INET6) return clear();
  auto copy = std::make_unique<SocketAddress>();
  copy->v6 = *address;
  mAddress = std::move(copy);
  mType = IPT_IPv6;
}

void IpAddress::fromStringAddress(const string& text, Type type) {
  // inet_pton would not see what stands behind a NUL.
  if (text.find('\0') != string::npos) return clear();
  const bool any = type == IPT_Invalid;
  sockaddr_in v4{};
  sockaddr_in6 v6{};
  if ((any || type == IPT_IPv4) && inet_pton(AF_INET, text.c_str(), &v4.sin_addr) == 1) {
    v4.sin_family = AF_INET;
    fromIPv4(&v4);
  } else if ((any || type == IPT_IPv6) && inet_pton(AF_INET6, text.c_str(), &v6.sin6_addr) == 1) {
    v6.sin6_family = AF_INET6;
    fromIPv6(&v6);
  } else {
    clear();
  }
}

string IpAddress::getAddressAsString(bool withPort) const {
  if (mType == IPT_Invalid) return {};
  const bool isIPv4 = mType == IPT_IPv4;
  string text = isIPv4 ? ToText<kIPv4TextSize>(AF_INET, &mAddress->v4.sin_addr)
                       : ToText<kIPv6TextSize>(AF_INET6, &mAddress->v6.sin6_addr);
  const uint16 port = ntohs(isIPv4 ? mAddress->v4.sin_port : mAddress->v6.sin6_port);
  if (withPort && port != 0 && !text.empty()) text += ":" + qxStringUtils::fromUInt(port, 1);
  return text;
}

const sockaddr* IpAddress::getSockaddr() const noexcept { return mAddress == nullptr ? nullptr : &mAddress->any; }

const sockaddr_in* IpAddress::getIPv4Sockaddr() const noexcept { return mType == IPT_IPv4 ? &mAddress->v4 : nullptr; }

const sockaddr_in6* IpAddress::getIPv6Sockaddr() const noexcept { return mType == IPT_IPv6 ? &mAddress->v6 : nullptr; }

int IpAddress::getSockaddrLen() const noexcept {
  switch (mType) {
    case IPT_IPv4: return sizeof(sockaddr_in);
    case IPT_IPv6: return sizeof(sockaddr_in6);
    default: return 0;
  }
}

bool IpAddress::compareAddresses(const IpAddress& other) const noexcept {
  const sockaddr_in* v4 = getIPv4Sockaddr();
  const sockaddr_in* otherV4 = other.getIPv4Sockaddr();
  const sockaddr_in6* v6 = getIPv6Sockaddr();
  const sockaddr_in6* otherV6 = other.getIPv6Sockaddr();
  if (v4 != nullptr && otherV4 != nullptr) return GetBytes(*v4) == GetBytes(*otherV4);
  if (v6 != nullptr && otherV6 != nullptr) return GetBytes(*v6) == GetBytes(*otherV6);
  if (v4 != nullptr && otherV6 != nullptr) return IsMappedFrom(GetBytes(*otherV6), GetBytes(*v4));
  if (v6 != nullptr && otherV4 != nullptr) return IsMappedFrom(GetBytes(*v6), GetBytes(*otherV4));
  return mType == other.mType;
}

}  // namespace qx
