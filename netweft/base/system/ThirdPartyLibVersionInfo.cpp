#include "netweft/base/system/ThirdPartyLibVersionInfo.h"

#include "netweft/base/system/internal/NoDestroy.h"

#include <mutex>

namespace qx::impl {
namespace {

struct Registry {
  std::mutex mutex;
  map<string, string> versions;  ///< guarded by `mutex`
};

Registry& GetRegistry() {
  static NoDestroy<Registry> registry;
  return registry.get();
}

}  // namespace

void RegisterThirdPartyLibVersionInfo(const char* name, const char* version) {
  Registry& registry = GetRegistry();
  const std::lock_guard lock(registry.mutex);
  registry.versions.insert_or_assign(name, version != nullptr ? version : "");
}

void UnRegisterThirdPartyLibVersionInfo(const char* name) {
  Registry& registry = GetRegistry();
  const std::lock_guard lock(registry.mutex);
  registry.versions.erase(name);
}

map<string, string> GetThirdPartyLibVersionInfo() {
  Registry& registry = GetRegistry();
  const std::lock_guard lock(registry.mutex);
  return registry.versions;
}

}  // namespace qx::impl
