#pragma once

#include "netweft/base/system/qxTypes.h"
#include "tests/support/Reply.h"
#include "tests/support/Request.h"

#include <functional>
#include <ostream>

namespace qx::test {

/// How one use of a client ended.
enum class Outcome {
  Worked,   ///< it said so, and everything is as the server has it
  Altered,  ///< it said so, and something is not as the server has it
  Broke,    ///< it reported an error in the way that its header tells
};

std::ostream& operator<<(std::ostream& out, Outcome outcome);

/// One client of the library and the server that it needs, so that every client can be held against the same faults.
class ChaosClient {
 public:
  virtual ~ChaosClient() = default;

  virtual Reply answer(const Request& request) = 0;

  /// A piece of work from its begin to its end, against the server at `url`, which has no path. The same object is used
  /// again and again, with whatever connection it has kept.
  virtual Outcome use(const string& url) = 0;

  /// The client speaks TLS, with a certificate that it verifies.
  virtual bool usesTls() const { return false; }
  /// A reply that comes too late, or never, ends the use. False: it ends with its connection alone.
  virtual bool hasTimeLimit() const { return true; }
  /// A reply whose head breaks off behind its status line looks to libcurl like one without a body, and the client
  /// cannot tell either.
  virtual bool trustsBrokenHeads() const { return false; }
  /// It carries on by itself after a failure, so that a use may work although a reply was spoilt.
  virtual bool carriesOn() const { return false; }
};

/// A name for the tests, and how the client is made.
struct ChaosClientKind {
  const char* name;
  unique_ptr<ChaosClient> (*make)();
};

std::ostream& operator<<(std::ostream& out, const ChaosClientKind& kind);

const vector<ChaosClientKind>& HttpChaosClients();
const vector<ChaosClientKind>& CouchChaosClients();
const vector<ChaosClientKind>& OtherChaosClients();

}  // namespace qx::test
