#pragma once

#include "netweft/base/system/qxTypes.h"

namespace qx::test {

/// What a TLS server shows: its certificate, those above it that it sends along, and the key of the first.
struct TlsIdentity {
  string certificateChainPem;
  string keyPem;
};

}  // namespace qx::test
