#pragma once

#include "netweft/river/RiverParameters.h"
#include "netweft/river/internal/RiverBatch.h"

namespace qx::couch {

/// Turns the records of a batch into one bulk body per index. A step machine without I/O, for one batch and one thread.
///
/// What reaches an index of a document: the first `"_id"` anywhere in its text has its underscore turned into a minus
/// sign, since Elasticsearch keeps that name for itself; then the top-level members "contents" and "resources" are
/// dropped and the text is written compactly, its members in ascending order. The rename is applied again for each
/// further index of the database, to what the former one left.
class BulkGenerator {
 public:
  /// All must outlive the generator. `bodies` gets as many elements as the batch has indexes, each emptied and with
  /// room for the batch's reserved bytes; their storage is used again from batch to batch.
  BulkGenerator(RiverBatch& batch, const RiverParameters& parameters, vector<bytes>& bodies);

  /// Writes the commands of one record and frees its body. False, with an error line, when the document is not JSON.
  bool generate(ChangeRecord& record);

  uint64 getCommandCount() const noexcept { return mCommands; }
  /// Sum of the `commandBytes` of all commands.
  uint64 getGeneratedBytes() const noexcept { return mBytes; }

 private:
  bool generateIndex(ChangeRecord& record);
  void generateDelete(const ChangeRecord& record);
  void count(const ChangeRecord& record);

  RiverBatch& mBatch;
  const RiverParameters& mParameters;
  vector<bytes>& mBodies;
  uint64 mCommands = 0;
  uint64 mBytes = 0;
};

/// Turns the first `"_id"` of the text into `"-id"`; false when there is none.
bool RenameFirstId(bytes& document);

}  // namespace qx::couch
