#include "netweft/river/internal/IndexJob.h"

namespace qx::couch {

namespace {

void AppendChange(IndexJob& job, const ChangesListener::CallbackParam& param) {
  ChangeRecord& record = job.pendingChanges.emplace_back();
  record.id = DocumentId(param.docId);
  if (!param.revisions.empty()) record.rev = CdbRev::Parse(param.revisions.front());
  record.setSeq(static_cast<uint64>(param.seq));
  record.setDeleted(param.deleted);
}

}  // namespace

void OnChangeMessage(ChangesListener::CallbackMsg message, const ChangesListener::CallbackParam& param, void* context) {
  auto& job = *static_cast<IndexJob*>(context);
  if (job.parameters->changesCallback != nullptr) {
    job.parameters->changesCallback(message, param, job.parameters->changesCallbackContext);
  }
  switch (message) {
    case ChangesListener::CM_ListenStopedDueToError:
    case ChangesListener::CM_ListenStopedDbMissing:
    case ChangesListener::CM_FailToStartListening:
      job.feedState = FS_Stopped;
      job.needsReopen = true;
      break;
    case ChangesListener::CM_StartListening: job.feedState = FS_Starting; break;
    case ChangesListener::CM_Listening:
    case ChangesListener::CM_Heartbeat: job.feedState = FS_Listening; break;
    case ChangesListener::CM_NewChange:
      job.feedState = FS_Change;
      AppendChange(job, param);
      break;
    case ChangesListener::CM_DbCreated:
    case ChangesListener::CM_DbDeleted:
    case ChangesListener::CM_DbUpdated:
    case ChangesListener::CM_DbDesignDocUpdated: break;
  }
}

}  // namespace qx::couch
