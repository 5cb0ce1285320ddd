#include "netweft/river/internal/CreationDescriptor.h"

namespace qx::couch {

string buildCreationDescriptor(const string& indexName, const qxVariantMapImpl& settingsReply) {
  const qxVariant* settings = settingsReply.findValuePath(indexName + "/settings/index", '/');
  if (settings == nullptr) return "";
  const string creationDate = settings->getMap().getString("creation_date", "");
  const string uuid = settings->getMap().getString("uuid", "");
  if (creationDate.empty() || uuid.empty()) return "";
  return creationDate + "_" + uuid;
}

}  // namespace qx::couch
