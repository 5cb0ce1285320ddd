#pragma once

#include "netweft/addressing/Url.h"
#include "netweft/base/system/NetweftExport.h"

namespace qx::elasticsearch {

/// Names an Elasticsearch server: the URL of its root, with its credentials, from which the address of every index and
/// of every operation on it is derived by the `toUrl` family.
///
/// Give the root without a slash behind it: "http://host:9200/" has one empty path segment, and every address made from
/// it then holds a double slash.
///
/// A plain value with no lock.
class NETWEFT_EXPORT ESConnectionParameters : public Url {
 public:
  /// "http" on 127.0.0.1, port 80.
  ESConnectionParameters();
  /// The server whose root has that URL.
  ESConnectionParameters(const Url& server);
  /// A plain copy.
  ESConnectionParameters(const ESConnectionParameters& other);
  ~ESConnectionParameters() override;

  /// A plain copy.
  ESConnectionParameters& operator=(const ESConnectionParameters& other);
};

}  // namespace qx::elasticsearch
