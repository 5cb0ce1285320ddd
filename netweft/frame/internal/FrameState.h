#pragma once

#include "netweft/base/crypto/qxOpenSSL.h"

namespace qx {
class qxThreadPeriodicalUpdater;
}

/// What the transport reads of the frame beside the public defaults.
namespace qx::impl {

/// The OpenSSL generation that libcurl was built with; unknown before the first initialisation.
qxOpenSSL::qxOpenSSLVersion GetCurlOpenSslVersion() noexcept;

/// The thread that drives the pools' expiry; null while the library is not initialised.
qxThreadPeriodicalUpdater* GetPoolUpdater() noexcept;

}  // namespace qx::impl
