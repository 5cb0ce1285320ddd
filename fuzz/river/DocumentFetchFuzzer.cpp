#include "fuzz/Input.h"
#include "fuzz/Require.h"
#include "fuzz/Target.h"
#include "netweft/river/internal/BulkCommands.h"
#include "netweft/river/internal/DocumentFetch.h"

/// A fetched document is indexed only when its tag names the very revision that the feed did, and is deleted only when
/// it is missing and the feed said so. The input: a byte for the status and the deletion, a line each with the feed's
/// revision and the tag, and the body.
namespace qx::fuzz {
namespace {

using namespace couch;

constexpr uint64 sBudget = 1000;

void CheckIndexed(const ChangeRecord& record, const string& tag) {
  Require(!record.isDeleted(), "what the feed called deleted is not indexed");
  Require(tag.size() > 2 && CdbRev::Parse(tag.substr(1, tag.size() - 2)) == record.rev, "the tag names the revision");
  Require(!record.body.empty() && record.body.back() == '}', "a document ends with its brace");
  Require(record.commandBytes == IndexCommandBytes("doc", record.body.size()) && record.commandBytes < sBudget,
          "a document is counted, and keeps within the budget");
}

void Check(std::string_view data) {
  constexpr long statuses[] = {200, 200, 404, 500};
  Input input(data);
  const unsigned char choice = input.takeByte();
  const long status = statuses[choice / 2 % 4];
  ChangeRecord record;
  record.id = DocumentId("doc");
  record.rev = CdbRev::Parse(string(input.takeLine()));
  record.setDeleted(choice % 2 != 0);
  qxVariantMapImpl headers;
  const string tag(input.takeLine());
  headers["etag"] = tag;
  const std::string_view text = input.takeRest();
  vector<char> body(text.begin(), text.end());

  static http::HttpMultiConnection connection(1);
  const string db = "db";
  FetchContext context{.cancelFlag = nullptr, .dbName = &db, .budget = sBudget};
  OnDocumentFetched(connection, status, "", headers, body, &context, &record);

  Require(context.bodyAccumulated == record.commandBytes, "the batch holds what was counted");
  Require(context.fetchFailed == (record.action == CA_Pending), "what failed is left undecided");
  if (record.action == CA_Index) CheckIndexed(record, tag);
  Require((record.action == CA_Delete) == (status == 404 && record.isDeleted()), "only what is gone is deleted");
}

const Target sTarget("document_fetch", Check);

}  // namespace
}  // namespace qx::fuzz
