#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

namespace qx {

/// Start and end of the crypto library, and what TLS connections need of it.
class NETWEFT_EXPORT qxOpenSSL {
 public:
  /// Generations of OpenSSL, whose TLS contexts are not interchangeable.
  enum qxOpenSSLVersion : int32 {
    OV_Unknown = 0,  ///< no such text, or a generation that is not told apart here
    OV_1_0 = 1,      ///< 1.0.x
    OV_1_1 = 2,      ///< 1.1.x
    OV_3 = 3,        ///< 3.x
  };

  /// Nests; each call is undone by one `finalizeLibrary`. `loadErrorTexts` makes the crypto library's messages
  /// readable. Not to be called by two threads at once.
  static void initializeLibrary(bool loadErrorTexts);
  static void finalizeLibrary();

  /// The generation of a version text such as "3.0.15" or "1.1.1w"; `OV_Unknown` for any text that is none.
  static qxOpenSSLVersion ParseOpenSSLVersionString(const string& version);

  /// Installs the system's trusted certificates in a TLS context (an `SSL_CTX*` of that generation, which stays the
  /// caller's). One store, loaded once per process, is shared among all contexts. False when the generation is not
  /// the one that this library was built with, when the context is null, or when no certificate could be loaded. Any
  /// thread.
  static bool setCertStore(qxOpenSSLVersion version, void* sslContext);
};

}  // namespace qx
