#include "netweft/elasticsearch/internal/WorkerResultParser.h"

#include "netweft/base/system/qxLogObject.h"

namespace qx::elasticsearch {

void WorkerResultParser::read(const string& reply) {
  string error;
  if (!addData(reply.data(), reply.size())) {
    LogError() << "Fail to parse es search result";
    LogDetail("esresultparser") << "content to parse" << CutForLog(reply);
  } else if (!finish(&error)) {
    LogError() << "Fail to finalize es search result parser";
    LogDetail("esresultparser") << error << " content to parse" << CutForLog(reply);
  }
}

void WorkerResultParser::onHit(string& id, string& source, string&, string&, string&) {
  if (mBatch.erase(id) != 0) mReceive(id, source);
}

}  // namespace qx::elasticsearch
