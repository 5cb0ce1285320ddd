#include "netweft/couch/internal/ConflictSolverWorker.h"

#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/internal/TakeFront.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/couch/internal/ConflictSettler.h"
#include "netweft/http/HttpHelpers.h"
#include "netweft/http/internal/HttpStatus.h"

namespace qx::couch {

namespace {

/// What the server did not take. A conflict is none: the document changed meanwhile, and a later reading of the view
/// lists it again if need be.
bool IsRefused(const qxVariant& entry) {
  const qxVariantMapImpl& answer = entry.getMap();
  return !answer.getValue("ok", false).toBool() && answer.getString("error", "") != "conflict";
}

}  // namespace

impl::WorkerThread::Taking ConflictSolver::Worker::takeBatch() {
  if (mState.jobs.empty()) return T_Wait;
  mRequest = mState.current;
  impl::TakeFront(mState.jobs, mBatch, mState.workerBatch);
  return T_Batch;
}

void ConflictSolver::Worker::serveBatch() {
  if (mConnection == nullptr) mConnection = std::make_unique<http::HttpConnection>(true);
  mIsPosted = post(settleBatch());
}

void ConflictSolver::Worker::finishBatch() {
  if (mIsPosted) {
    mState.documentsDone += mBatch.size();
  } else {
    StoreFlag(mState.errorFlag, true);
  }
  mIsPosted = false;
  mBatch.clear();
  mRequest.reset();
}

ConflictSolver::Worker::Solutions ConflictSolver::Worker::settleBatch() {
  const ConflictSettler settler(*mConnection, *mRequest, mState.cancelFlag, mState.errorFlag);
  Solutions solutions;
  for (const auto& [id, revisions] : mBatch) {
    if (ReadFlag(mState.cancelFlag)) break;
    bool isSettled = false;
    Guard([&, &id = id, &revisions = revisions] {
      solutions.push_back(settler.settle(id, revisions));
      isSettled = true;
    });
    if (!isSettled) StoreFlag(mState.errorFlag, true);
  }
  return solutions;
}

// Posted also when it is empty, and also after a cancel, for what has gathered until then.
bool ConflictSolver::Worker::post(Solutions solutions) {
  qxVariantMapImpl body;
  qxVariantListImpl& docs = body["docs"].editList();
  for (qxVariantListImpl& entries : solutions) {
    for (qxVariant& entry : entries) docs.push_back(std::move(entry));
  }
  string text;
  json::Json2Variant::Convert(body, text, false);

  string response;
  http::HttpHelpers::HttpResult result;
  result.content = &response;
  const Url url = ToConflictUrl(*mRequest, {mRequest->dbName, "_bulk_docs"}, {});
  if (http::HttpHelpers::HttpPostJson(*mConnection, url, text.data(), text.size(), http::sHttpCreated, &result)) {
    return checkAnswer(response);
  }
  LogError() << "Fail to remove conflicts of document " << mConnection->getLastErrorMsg();
  return false;
}

bool ConflictSolver::Worker::checkAnswer(const string& response) {
  qxVariantListImpl answers;
  if (!json::Json2Variant::Convert(response.data(), response.size(), answers)) {
    LogError() << "Invalid _bulk_doc result " << mConnection->getLastErrorMsg();
    return false;
  }
  for (const qxVariant& answer : answers) {
    if (!IsRefused(answer)) continue;
    LogError() << "Error while uploading document " << CutForLog(response);
    StoreFlag(mState.errorFlag, true);
  }
  return true;
}

}  // namespace qx::couch
