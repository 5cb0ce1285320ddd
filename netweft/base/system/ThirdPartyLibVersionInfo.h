#pragma once

#include "netweft/base/system/NetweftExport.h"
#include "netweft/base/system/qxTypes.h"

namespace qx::impl {

/// The registry of the versions of the libraries that this one stands on, for a host's "about" page. Any thread;
/// both texts are copied. Registering a name again replaces its version; a null version counts as empty.
NETWEFT_EXPORT void RegisterThirdPartyLibVersionInfo(const char* name, const char* version);
/// Takes a name out; nothing happens when it is not there.
NETWEFT_EXPORT void UnRegisterThirdPartyLibVersionInfo(const char* name);

/// A copy of the registry: version by name.
NETWEFT_EXPORT map<string, string> GetThirdPartyLibVersionInfo();

}  // namespace qx::impl
