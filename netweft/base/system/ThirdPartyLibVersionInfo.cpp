#include "netweft/base/system/ThirdPartyLibVersionInfo.h"

#include "netweft/base/system/internal/NoDestroy.h"
#include "netweft/base/system/qxMutexLocker.h"

namespace qx::impl {
namespace {

struct Registry {
  qxMutex mutex;
  map<string, string> versions NETWEFT_GUARDED_BY(mutex);
};

Registry& GetRegistry() {
  static NoDestroy<Registry> registry;
  return registry.get();
}

}  // namespace

void RegisterThirdPartyLibVersionInfo(const char* name, const char* version) {
  Registry& registry = GetRegistry();
  const qxMutexLocker lock(registry.mutex, true);
  registry.versions.insert_or_assign(name, version != nullptr ? version : "");
}

void UnRegisterThirdPartyLibVersionInfo(const char* name) {
  Registry& registry = GetRegistry();
  const qxMutexLocker lock(registry.mutex, true);
  registry.versions.erase(name);
}

map<string, string> GetThirdPartyLibVersionInfo() {
  Registry& registry = GetRegistry();
  const qxMutexLocker lock(registry.mutex, true);
  return registry.versions;
}

}  // namespace qx::impl
