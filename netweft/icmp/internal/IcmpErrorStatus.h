#pragma once

#include "netweft/icmp/internal/IcmpMessage.h"
#include "netweft/icmp/internal/IcmpStatus.h"

#include <optional>

namespace qx::impl {

/// What an ICMP error means for the echo that it quotes, by the error's type and code. No value: nothing, the echo goes
/// on (a redirect, a source quench).
std::optional<IcmpStatus> TranslateIcmpError(IcmpFamily family, unsigned char type, unsigned char code);

}  // namespace qx::impl
