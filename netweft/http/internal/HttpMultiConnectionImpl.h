#pragma once

#include "netweft/http/internal/TransferSlot.h"

namespace qx::http {

/// The pump behind `HttpMultiConnection`: the slots, the queue, and the multi handle that the slots' handles run under.
struct NETWEFT_HIDDEN HttpMultiConnection::HttpMultiConnectionImpl {
  HttpMultiConnectionImpl(HttpMultiConnection& multiConnection, int slotCount);
  HttpMultiConnectionImpl(const HttpMultiConnectionImpl&) = delete;
  HttpMultiConnectionImpl& operator=(const HttpMultiConnectionImpl&) = delete;
  ~HttpMultiConnectionImpl();

  /// One pass: start, move, complete. True when something moved, and another pass may be worth its time.
  bool runPass();

  list<impl::TransferSlot> transferSlots;
  list<unique_ptr<Request>> requestQueue;
  CURLM* multiHandle;
  bool pumping = false;

  /// Set while the pump runs, however it is left.
  class PumpMark {
   public:
    explicit PumpMark(HttpMultiConnectionImpl& pump) : mPump(pump) { mPump.pumping = true; }
    PumpMark(const PumpMark&) = delete;
    PumpMark& operator=(const PumpMark&) = delete;
    ~PumpMark() { mPump.pumping = false; }

   private:
    HttpMultiConnectionImpl& mPump;
  };

 private:
  HttpMultiConnectionImpl();

  bool fillFreeSlots();
  bool transfer();
  bool drain();

  /// On a free slot; does nothing more than reset it when the queue is empty.
  void startNextRequest(impl::TransferSlot& slot);
  bool installRequest(impl::TransferSlot& slot) const;
  /// Hands the result to the callback and resets the slot, also when the callback throws. A request that memory ran out
  /// for gets its completion ahead of the exception.
  void complete(impl::TransferSlot& slot, CURLcode code);
  void notify(impl::TransferSlot& slot, long httpCode, const string& errorText);
  impl::TransferSlot* findSlot(const CURL* handle) noexcept;
};

}  // namespace qx::http
