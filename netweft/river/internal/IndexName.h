#pragma once

#include "netweft/base/system/qxTypes.h"

namespace qx::couch {

/// True when the name can only mean one index. Elasticsearch takes patterns, lists, `_all` and date expressions
/// wherever it takes a name, and one DELETE of "*" wipes a cluster: so this test precedes every request about an index.
///
/// Refused: the empty name, "." and "..", a leading "_", "-" or "+", control characters, white space, and
/// * ? , < > | " \ # and the slash. Whether Elasticsearch takes the rest is its own affair.
bool IsConcreteIndexName(const string& indexName);

/// The same, with an error line when it is false.
bool RequireConcreteIndexName(const string& indexName);

}  // namespace qx::couch
