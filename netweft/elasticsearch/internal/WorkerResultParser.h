#pragma once

#include "netweft/elasticsearch/SearchResultParserInterface.h"

#include <functional>

namespace qx::elasticsearch {

/// Reads the reply for a batch: each hit whose id is in the batch leaves it and is handed on. A hit whose id is not (or
/// not any more, as of one id in two indexes) is ignored. What is left in the batch afterwards did not come back.
class WorkerResultParser final : public SearchResultParserInterface {
 public:
  using Receiver = std::function<void(const string& id, const string& source)>;

  /// `batch` is the caller's and must outlive the parser.
  WorkerResultParser(map<string, string>& batch, Receiver receive) : mBatch(batch), mReceive(std::move(receive)) {}

  /// Reads a whole reply. What is wrong with it goes to the log.
  void read(const string& reply);

 private:
  void onHit(string& id, string& source, string& score, string& highlight, string& type) override;

  map<string, string>& mBatch;
  const Receiver mReceive;
};

}  // namespace qx::elasticsearch
