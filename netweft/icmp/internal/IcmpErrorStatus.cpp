#include "netweft/icmp/internal/IcmpErrorStatus.h"

#include <algorithm>
#include <iterator>

namespace qx::impl {

namespace {

/// As `code`: any.
constexpr int sAnyCode = -1;

struct Translation {
  unsigned char type;
  int code;
  IcmpStatus status;
};

constexpr Translation sV4[] = {
    {3, 0, IcmpStatus::NetworkUnreachable},  {3, 1, IcmpStatus::HostUnreachable},
    {3, 2, IcmpStatus::ProtocolUnreachable}, {3, 3, IcmpStatus::PortUnreachable},
    {3, 4, IcmpStatus::PacketTooBig},        {3, 5, IcmpStatus::BadRoute},
    {11, 0, IcmpStatus::TimeToLiveExpired},  {12, sAnyCode, IcmpStatus::ParameterProblem},
};

constexpr Translation sV6[] = {
    {1, 0, IcmpStatus::NetworkUnreachable},     {1, 3, IcmpStatus::HostUnreachable},
    {1, 4, IcmpStatus::PortUnreachable},        {2, 0, IcmpStatus::PacketTooBig},
    {3, 0, IcmpStatus::TimeToLiveExpired},      {4, 0, IcmpStatus::BadHeader},
    {4, 1, IcmpStatus::UnrecognizedNextHeader},
};

constexpr unsigned char sSourceQuenchV4 = 4;
constexpr unsigned char sRedirectV4 = 5;
constexpr unsigned char sRedirectV6 = 137;

/// The echo was forwarded, or may have been: a router only remarks on it.
bool IsRemark(IcmpFamily family, unsigned char type) {
  return family == IcmpFamily::V4 ? type == sSourceQuenchV4 || type == sRedirectV4 : type == sRedirectV6;
}

template <class Table>
IcmpStatus LookUp(const Table& table, unsigned char type, unsigned char code) {
  const auto* known = std::find_if(std::begin(table), std::end(table), [=](const Translation& entry) {
    return entry.type == type && (entry.code == sAnyCode || entry.code == code);
  });
  return known != std::end(table) ? known->status : IcmpStatus::Unreachable;
}

}  // namespace

std::optional<IcmpStatus> TranslateIcmpError(IcmpFamily family, unsigned char type, unsigned char code) {
  if (IsRemark(family, type)) return std::nullopt;
  return family == IcmpFamily::V4 ? LookUp(sV4, type, code) : LookUp(sV6, type, code);
}

}  // namespace qx::impl
