#pragma once

#include "netweft/base/system/qxTimer.h"
#include "netweft/http/HttpConnection.h"
#include "netweft/http/HttpMultiConnection.h"
#include "netweft/river/RiverParameters.h"

namespace qx::couch {

/// A Worker's transports and buffers, made for its first batch and kept from batch to batch. One thread.
struct HttpBundle {
  /// Stall limits, in bytes per second and seconds: Elasticsearch may think for long before it answers a bulk request;
  /// documents flow.
  static constexpr int32 sEsStallBytes = 1;
  static constexpr int32 sEsStallSec = 60;
  static constexpr int32 sCouchStallBytes = 5;
  static constexpr int32 sCouchStallSec = 45;

  explicit HttpBundle(const RiverParameters& parameters) : couch(parameters.maxParallelGets) {
    es.editConnectionParameters().lowSpeedLimit = sEsStallBytes;
    es.editConnectionParameters().lowSpeedTimeSec = sEsStallSec;
    couch.editConnectionParameters().lowSpeedLimit = sCouchStallBytes;
    couch.editConnectionParameters().lowSpeedTimeSec = sCouchStallSec;
  }

  http::HttpConnection es{true};
  http::HttpMultiConnection couch;
  /// Since construction; never set again.
  qxTimer age{true};
  /// One bulk body per index of the batch in hand.
  vector<bytes> bodies;
};

}  // namespace qx::couch
