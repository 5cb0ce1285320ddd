#pragma once

#include "netweft/couch/MultiThreadedDocumentGetter.h"

#include <functional>

namespace qx::couch {

/// Gets one row of an answer of `_all_docs`: the key, the document, the server's word for an error, and how it came
/// back.
using RowReceiver = std::function<void(const string& id, qxVariantMapImpl& doc, const string& error,
                                       MultiThreadedDocumentGetter::DocumentResult result)>;

/// Hands each row of the parsed answer to `receive`, in order. Documents are handed over in place, so `answer` is used
/// up. Entries that are no rows are passed over, and an answer without a list of rows has none.
void DeliverAllDocsRows(qxVariantMapImpl& answer, MultiThreadedDocumentGetter::DocContent content,
                        const RowReceiver& receive);

}  // namespace qx::couch
