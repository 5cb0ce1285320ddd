#include "netweft/http/internal/HttpMultiConnectionImpl.h"

#include "netweft/base/system/qxLogObject.h"
#include "netweft/base/system/qxStringUtils.h"

#include <algorithm>

namespace qx::http {

using namespace impl;

namespace {

/// Frees a slot at the end of a scope, however that is left.
class SlotRelease {
 public:
  explicit SlotRelease(TransferSlot& slot) : mSlot(&slot) {}
  SlotRelease(const SlotRelease&) = delete;
  SlotRelease& operator=(const SlotRelease&) = delete;
  ~SlotRelease() {
    if (mSlot != nullptr) mSlot->reset();
  }

  void dismiss() { mSlot = nullptr; }

 private:
  TransferSlot* mSlot;
};

string GetErrorText(const TransferSlot& slot, CURLcode code) {
  const char* const text =
      slot.head.isBrokenOff() && slot.errorBuffer.front() == '\0' ? ResponseHead::sMessage : slot.errorBuffer.data();
  return "Curl error " + qxStringUtils::fromInt(code, 1) + " " + text;
}

constexpr int sTurnsPerPass = 3;
constexpr int sWaitMs = 5;

}  // namespace

HttpMultiConnection::HttpMultiConnectionImpl::HttpMultiConnectionImpl() : multiHandle(CreateMultiHandle()) {}

HttpMultiConnection::HttpMultiConnectionImpl::HttpMultiConnectionImpl(HttpMultiConnection& multiConnection,
                                                                      int slotCount)
    : HttpMultiConnectionImpl() {
  for (int i = 0; i < slotCount; ++i) transferSlots.emplace_back(multiConnection);
}

HttpMultiConnection::HttpMultiConnectionImpl::~HttpMultiConnectionImpl() {
  transferSlots.clear();
  const CURLMcode code = curl_multi_cleanup(multiHandle);
  if (code != CURLM_OK) LogError() << "Error (" << static_cast<int>(code) << ") while releasing curl multi handle";
}

bool HttpMultiConnection::HttpMultiConnectionImpl::runPass() {
  bool progress = fillFreeSlots();
  progress |= transfer();
  progress |= drain();
  return progress || std::any_of(transferSlots.begin(), transferSlots.end(),
                                 [](const TransferSlot& slot) { return slot.dataSeen; });
}

// One walk, not one per queued request: with every slot busy there is nothing to start.
bool HttpMultiConnection::HttpMultiConnectionImpl::fillFreeSlots() {
  bool progress = false;
  for (TransferSlot& slot : transferSlots) {
    if (requestQueue.empty()) break;
    if (slot.request != nullptr) continue;
    startNextRequest(slot);
    progress = true;
  }
  return progress;
}

bool HttpMultiConnection::HttpMultiConnectionImpl::transfer() {
  for (int turn = 0; turn < sTurnsPerPass; ++turn) {
    int running = 0;
    const CURLMcode code = curl_multi_perform(multiHandle, &running);
    if (code != CURLM_OK) {
      LogError() << "Multi perform error " << static_cast<int>(code);
      continue;
    }
    int ready = 0;
    curl_multi_wait(multiHandle, nullptr, 0, sWaitMs, &ready);
    if (ready >= 1) return true;
  }
  return false;
}

bool HttpMultiConnection::HttpMultiConnectionImpl::drain() {
  bool progress = false;
  int queued = 0;
  while (const CURLMsg* message = curl_multi_info_read(multiHandle, &queued)) {
    if (message->msg != CURLMSG_DONE) continue;
    CURL* const handle = message->easy_handle;
    const CURLcode result = message->data.result;  // gone with the handle
    TransferSlot* const slot = findSlot(handle);
    const CURLMcode code = curl_multi_remove_handle(multiHandle, handle);
    if (code != CURLM_OK) LogError() << "Fail to remove handle " << static_cast<int>(code);
    if (slot == nullptr) {
      LogError() << "Unknown easy handle";
      break;
    }
    if (code == CURLM_OK) slot->activeMulti = nullptr;
    complete(*slot, result);
    startNextRequest(*slot);
    progress = true;
  }
  return progress;
}

void HttpMultiConnection::HttpMultiConnectionImpl::startNextRequest(TransferSlot& slot) {
  slot.reset();
  if (requestQueue.empty()) return;
  slot.request = std::move(requestQueue.front());
  requestQueue.pop_front();
  SlotRelease release(slot);
  ExceptionSlot failure;
  if (failure.run(false, [&] { return installRequest(slot); })) return release.dismiss();
  notify(slot, -1, "Setup error");
  failure.rethrow();
}

bool HttpMultiConnection::HttpMultiConnectionImpl::installRequest(TransferSlot& slot) const {
  int failed = slot.installParameters(slot.owner->mParameters);
  if (slot.request->method < M_Get || slot.request->method > M_Delete) return false;
  failed |= slot.installRequest(slot.owner->mCommonHeaders);
  if (failed != 0) {
    LogError() << "Fail to set easy handle options";
    return false;
  }
  if (curl_multi_add_handle(multiHandle, slot.easyHandle.get()) != CURLM_OK) {
    LogError() << "Fail to add easy handle to multihandle";
    return false;
  }
  slot.activeMulti = multiHandle;
  return true;
}

void HttpMultiConnection::HttpMultiConnectionImpl::complete(TransferSlot& slot, CURLcode code) {
  const SlotRelease release(slot);
  ExceptionSlot failure = std::move(slot.failure);
  if (code == CURLE_OK && slot.head.isBrokenOff()) code = CURLE_PARTIAL_FILE;
  if (code == CURLE_OK) {
    notify(slot, GetLong(slot.easyHandle.get(), CURLINFO_RESPONSE_CODE), string());
  } else {
    notify(slot, -1, failure.run(string(), [&] { return GetErrorText(slot, code); }));
  }
  failure.rethrow();
}

void HttpMultiConnection::HttpMultiConnectionImpl::notify(TransferSlot& slot, long httpCode, const string& errorText) {
  HttpMultiConnection& owner = *slot.owner;
  if (owner.mCompletionCallback == nullptr) return;
  owner.mCompletionCallback(owner, httpCode, errorText, slot.responseHeaders, slot.content, owner.mCompletionContext,
                            slot.request->userData);
}

TransferSlot* HttpMultiConnection::HttpMultiConnectionImpl::findSlot(const CURL* handle) noexcept {
  const auto found = std::find_if(transferSlots.begin(), transferSlots.end(),
                                  [handle](const TransferSlot& slot) { return slot.easyHandle.get() == handle; });
  return found == transferSlots.end() ? nullptr : &*found;
}

}  // namespace qx::http
