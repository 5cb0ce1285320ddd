#include "netweft/icmp/internal/IcmpStatus.h"

#include "netweft/base/system/qxStringUtils.h"

#include <algorithm>
#include <iterator>

namespace qx::impl {

namespace {

struct StatusWord {
  uint32 status;
  const char* word;
};

constexpr StatusWord sWords[] = {
    {0, "The status was success."},
    {11001, "The reply buffer was too small."},
    {11002, "The destination network was unreachable."},
    {11003, "The destination host was unreachable."},
    {11004, "The destination protocol was unreachable."},
    {11005, "The destination port was unreachable."},
    {11006, "Insufficient IP resources were available."},
    {11007, "A bad IP option was specified."},
    {11008, "A hardware error occurred."},
    {11009, "The packet was too big."},
    {11010, "The request timed out."},
    {11011, "A bad request."},
    {11012, "A bad route."},
    {11013, "The time to live (TTL) expired in transit."},
    {11014, "The time to live expired during fragment reassembly."},
    {11015, "A parameter problem."},
    {11016, "Datagrams are arriving too fast to be processed and datagrams may have been discarded."},
    {11017, "An IP option was too big."},
    {11018, "A bad destination."},
    {11040, "The destination was unreachable."},
    {11041, "The time was exceeded."},
    {11042, "A bad IP header was encountered."},
    {11043, "An unrecognized next header was encountered."},
    {11044, "An ICMP error occurred."},
    {11045, "A destination scope ID mismatch occurred."},
    {11050, "A general failure. This error can be returned for some malformed ICMP packets."},
};

}  // namespace

string GetIcmpStatusWord(uint32 status) {
  const auto* known =
      std::find_if(std::begin(sWords), std::end(sWords), [status](const auto& word) { return word.status == status; });
  return known != std::end(sWords) ? known->word : "IP error : " + qxStringUtils::fromUInt(status, 1);
}

}  // namespace qx::impl
