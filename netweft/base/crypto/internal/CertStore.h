#pragma once

#include "netweft/base/system/qxTypes.h"

#include <openssl/ssl.h>

/// The one store of trusted certificates of the process. It is loaded at first use from the system's default paths (or
/// those that SSL_CERT_FILE and SSL_CERT_DIR name) and never swapped: contexts share it, so that a connection costs no
/// parsing. Any thread.
namespace qx::impl {

/// Puts the store into a context, which takes a reference of its own. False when it holds no certificate at all.
bool InstallCertStore(SSL_CTX* context);

/// Trusts one authority more, in every context that shares the store: for tests, whose servers no system knows. `pem`
/// may hold several certificates. False when it holds none.
bool AddTrustedAuthority(const string& pem);

}  // namespace qx::impl
