#pragma once

#include "netweft/couch/FetchCouchDbView.h"

#include <functional>

namespace qx::test {

/// Keeps the rows that a view's callback gets, each as one text: `id|key|value`, the last two as they print.
struct RowRecorder {
  static bool Record(const string& id, qxVariant& key, qxVariant& value, void* userData) {
    RowRecorder& self = *static_cast<RowRecorder*>(userData);
    self.rows.push_back(id + "|" + key.toString() + "|" + value.toString());
    return self.onRow == nullptr || self.onRow();
  }

  vector<string> rows;
  std::function<bool()> onRow;  ///< what the callback answers; without it, to go on
};

}  // namespace qx::test
