#pragma once

#include "netweft/base/system/qxTypes.h"
#include "netweft/elasticsearch/ESConnectionParameters.h"

namespace qx::http {
class HttpConnection;
}

namespace qx::couch {

/// Looks at one index that a feed is open for. False when it has to be opened anew, with a line that says why: it is
/// missing or cannot be reached, its status is neither "yellow" nor "green", or it is not the physical creation of
/// `descriptor` any more. A raised `cancelFlag` gives true and no line: nothing was found out.
///
/// A closed index looks healthy here.
bool IsIndexHealthy(http::HttpConnection& connection, const elasticsearch::ESConnectionParameters& es,
                    const string& indexName, const string& descriptor, const bool* cancelFlag);

}  // namespace qx::couch
