#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

struct sockaddr;
struct sockaddr_in;
struct sockaddr_in6;

namespace qx {

/// A socket address of either family, owned. A plain value without a lock.
///
/// Assigning an address to itself leaves it invalid.
class NETWEFT_EXPORT IpAddress {
 public:
  /// The family that is held.
  enum Type : int32 {
    IPT_Invalid = 0,  ///< no address
    IPT_IPv4 = 1,     ///< a `sockaddr_in`
    IPT_IPv6 = 2,     ///< a `sockaddr_in6`
  };

  /// Invalid.
  IpAddress() noexcept;
  /// As `fromStringAddress`; `isValid` tells how it went.
  IpAddress(const string& text, Type type);
  /// Copies are deep.
  IpAddress(const IpAddress& other);
  IpAddress& operator=(const IpAddress& other);
  /// The source is left invalid.
  IpAddress(IpAddress&& other) noexcept;
  IpAddress& operator=(IpAddress&& other) noexcept;
  ~IpAddress();

  /// Leaves it invalid.
  void clear() noexcept;
  /// Whether there is an address, and of which family.
  bool isValid() const noexcept { return mType != IPT_Invalid; }
  Type getType() const noexcept { return mType; }

  /// Copies the whole structure: port, flow information and scope too. A null pointer or another family leaves the
  /// address invalid.
  void fromIPv4(const sockaddr_in* address);
  void fromIPv6(const sockaddr_in6* address);

  /// Parses an address without brackets, port 0. `IPT_Invalid` as `type` means either family, IPv4 first. A text that
  /// is no address of that type leaves this one invalid; nothing else reports it.
  void fromStringAddress(const string& text, Type type);

  /// Empty when invalid. With `withPort` a port other than 0 follows behind ":"; no brackets are added, so that an IPv6
  /// address and its port run together: a caller who needs a URL goes through `Url::setHost`.
  string getAddressAsString(bool withPort) const;

  /// The held structure, null when invalid, and for the two typed forms when the type is another. They point into this
  /// object and end with its next change.
  const sockaddr* getSockaddr() const noexcept;
  const sockaddr_in* getIPv4Sockaddr() const noexcept;
  const sockaddr_in6* getIPv6Sockaddr() const noexcept;
  /// In bytes; 0 when invalid.
  int getSockaddrLen() const noexcept;

  /// Compares addresses only; ports, flow information and scope are ignored. An IPv4 address equals the IPv4-mapped
  /// IPv6 address that stands for it, in either order. Two invalid addresses are equal.
  bool compareAddresses(const IpAddress& other) const noexcept;
  bool operator==(const IpAddress& other) const noexcept { return compareAddresses(other); }

 private:
  union SocketAddress;

  Type mType = IPT_Invalid;
  unique_ptr<SocketAddress> mAddress;
};

}  // namespace qx
