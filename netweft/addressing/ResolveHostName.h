#pragma once

#include "netweft/addressing/IpAddress.h"

namespace qx {

/// Replaces `out` by the addresses of a host name (or of an address written as text), each with that port, in the order
/// in which the system's resolver gives them. False when there is none: the resolver's reason goes to the log's unnamed
/// channel. An empty name, or one with a NUL inside, is not looked up. Blocks as long as the resolver does, without a
/// limit of its own. Any thread.
NETWEFT_EXPORT bool ResolveHostName(const string& host, uint16 port, vector<IpAddress>& out);

}  // namespace qx
