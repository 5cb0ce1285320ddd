#include "netweft/river/internal/BulkPosting.h"

#include "fuzz/JsonMap.h"
#include "fuzz/Require.h"
#include "fuzz/Target.h"

/// A bulk reply counts as done only when it is a whole JSON object that denies errors, so that no batch is forgotten
/// over a reply that was cut or says something else. A cancel makes nothing done.
namespace qx::fuzz {
namespace {

using couch::StepResult;

bool IsDone(const string& reply, const bool* cancelFlag) {
  return couch::JudgeBulkReply(reply, cancelFlag) == StepResult::Done;
}

bool DeniesErrors(const string& reply) {
  qxVariantMapImpl map;
  if (!ReadJson(reply, map) || !map.contains("errors")) return false;
  const qxVariant& errors = map["errors"];
  return errors.getType() == qxVariant::VT_Bool && !errors.toBool();
}

void Check(std::string_view bytes) {
  const string reply(bytes);
  const bool raised = true;
  const bool isDone = IsDone(reply, nullptr);
  Require(!isDone || DeniesErrors(reply), "only what denies errors is done");
  Require(IsDone(reply, &raised) == isDone, "a cancel makes nothing done");
  Require(!isDone || !IsDone(reply.substr(0, reply.rfind('}') / 2), nullptr), "half a reply is not done");
}

const Target sTarget("bulk_reply", Check);

}  // namespace
}  // namespace qx::fuzz
