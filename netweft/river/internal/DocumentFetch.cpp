#include "netweft/river/internal/DocumentFetch.h"

#include "netweft/base/system/internal/FailPoint.h"
#include "netweft/base/system/qxFlag.h"
#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxStringUtils.h"
#include "netweft/http/internal/HttpStatus.h"
#include "netweft/river/internal/BulkCommands.h"

namespace qx::couch {

using http::HttpMultiConnection;

namespace {

/// How long one turn of the pump may take, in milliseconds: the cancel flag is looked at in between.
constexpr int sPumpMs = 50;

void FailFetch(HttpMultiConnection& connection, FetchContext& context) {
  context.fetchFailed = true;
  connection.cancelRequests(false);
}

void OnUnexpectedStatus(HttpMultiConnection& connection, FetchContext& context, const ChangeRecord& record, long status,
                        const string& errorText) {
  if (!ReadFlag(context.cancelFlag)) {
    LogError() << "Error while running HEAD request for document " << record.id.toString() << " got " << status << " "
               << errorText << " in db " << *context.dbName;
  }
  FailFetch(connection, context);
}

void CutBehindLastBrace(vector<char>& body) {
  while (!body.empty() && body.back() != '}') body.pop_back();
}

/// A batch keeps thousands of documents: each in as much memory as its text needs. The connection's buffer has room for
/// far more than most, so a text that fills less than half of it is copied and the buffer stays where it is.
void TakeBody(ChangeRecord& record, vector<char>& body) {
  CutBehindLastBrace(body);
  if (body.size() < body.capacity() / 2) {
    record.body.assign(body.begin(), body.end());
  } else {
    record.body.swap(body);
  }
}

/// The bytes of the command that follows from a document, 0 when none does.
uint64 DecideFetched(HttpMultiConnection& connection, FetchContext& context, ChangeRecord& record,
                     const qxVariantMapImpl& headers, vector<char>& body) {
  string etag = headers.getString("etag", "");
  if (etag.size() < 3) {
    LogError() << "Unexpected document revision " << etag << " for document " << record.id.toString() << " in db "
               << *context.dbName;
    FailFetch(connection, context);
    return 0;
  }
  etag.pop_back();
  TakeBody(record, body);
  if (record.body.empty()) {
    LogError() << "Unexpected document size " << uint64{record.body.size()} << " for document " << record.id.toString()
               << " in db " << *context.dbName;
    FailFetch(connection, context);
    return 0;
  }
  const bool wanted = !record.isDeleted() && CdbRev::Parse(etag.substr(1)) == record.rev;
  record.action = wanted ? CA_Index : CA_Skip;
  return wanted ? IndexCommandBytes(record.id.toString(), record.body.size()) : 0;
}

uint64 DecideMissing(ChangeRecord& record) {
  record.action = record.isDeleted() ? CA_Delete : CA_Skip;
  return record.isDeleted() ? DeleteCommandBytes(record.id.toString()) : 0;
}

/// A record that finds no room keeps its action and has no bytes counted: if its text then outgrows the reserved sum,
/// the batch fails as too large.
void Account(HttpMultiConnection& connection, FetchContext& context, ChangeRecord& record, uint64 commandBytes) {
  if (commandBytes == 0) return;
  if (commandBytes >= context.budget) {
    LogError() << "Fail to index document '" << record.id.toString() << "' this document is too heavy " << commandBytes
               << "B in db " << *context.dbName;
    record.action = CA_Skip;
  } else if (context.bodyAccumulated + commandBytes <= context.budget) {
    context.bodyAccumulated += commandBytes;
    record.commandBytes = commandBytes;
  } else {
    connection.cancelRequests(true);
  }
}

}  // namespace

void QueueDocumentRequests(RiverBatch& batch, const RiverParameters& parameters, HttpMultiConnection& connection) {
  for (ChangeRecord& record : batch.records) {
    if (qxStringUtils::StartsWith(record.id.toString(), "_design/")) {
      record.action = CA_Skip;
      continue;
    }
    auto request = std::make_unique<HttpMultiConnection::Request>();
    request->url = parameters.couch.toDocumentUrl(batch.dbName, record.id.toString(), {});
    request->userData = &record;
    connection.addRequest(request);
  }
}

void OnDocumentFetched(HttpMultiConnection& connection, long status, const string& errorText,
                       const qxVariantMapImpl& headers, vector<char>& body, void* context, void* userData) {
  auto& fetch = *static_cast<FetchContext*>(context);
  auto& record = *static_cast<ChangeRecord*>(userData);
  impl::PassFailPoint("document-fetched");
  switch (status) {
    case http::sHttpOk:
      return Account(connection, fetch, record, DecideFetched(connection, fetch, record, headers, body));
    case http::sHttpNotFound: return Account(connection, fetch, record, DecideMissing(record));
    default: return OnUnexpectedStatus(connection, fetch, record, status, errorText);
  }
}

bool FetchDocuments(RiverBatch& batch, const RiverParameters& parameters, HttpMultiConnection& connection,
                    const bool* cancelFlag) {
  FetchContext context{.cancelFlag = cancelFlag, .dbName = &batch.dbName, .budget = parameters.maxBatchBytes};
  connection.setCallback(OnDocumentFetched, &context);
  QueueDocumentRequests(batch, parameters, connection);
  while (!connection.isAllRequestsDone()) {
    if (ReadFlag(cancelFlag)) connection.cancelRequests(false);
    connection.updateConnection(sPumpMs);
  }
  connection.setCallback(nullptr, nullptr);
  return !ReadFlag(cancelFlag) && !context.fetchFailed;
}

list<ChangeRecord> TrimBatch(RiverBatch& batch, uint64 maxBytes) {
  batch.reservedBytes = 0;
  auto cut = batch.records.begin();
  for (; cut != batch.records.end(); ++cut) {
    if (cut->action == CA_Pending || batch.reservedBytes + cut->commandBytes >= maxBytes) break;
    batch.reservedBytes += cut->commandBytes;
  }
  list<ChangeRecord> left;
  left.splice(left.end(), batch.records, cut, batch.records.end());
  return left;
}

}  // namespace qx::couch
