#include "benchmarks/support/BareMulti.h"

namespace qx::bench {

namespace {

size_t Append(char* data, size_t size, size_t count, void* content) {
  static_cast<string*>(content)->append(data, size * count);
  return size * count;
}

}  // namespace

BareMulti::BareMulti(const string& url, Prepare prepare, Take take)
    : mMulti(curl_multi_init()), mPrepare(std::move(prepare)), mTake(std::move(take)), mSlots(sSlots) {
  for (Slot& slot : mSlots) {
    slot.handle = curl_easy_init();
    curl_easy_setopt(slot.handle, CURLOPT_URL, url.c_str());
    curl_easy_setopt(slot.handle, CURLOPT_PROXY, "");
    curl_easy_setopt(slot.handle, CURLOPT_WRITEFUNCTION, Append);
    curl_easy_setopt(slot.handle, CURLOPT_WRITEDATA, &slot.content);
    curl_easy_setopt(slot.handle, CURLOPT_PRIVATE, &slot);
  }
}

BareMulti::~BareMulti() {
  for (const Slot& slot : mSlots) {
    curl_multi_remove_handle(mMulti, slot.handle);
    curl_easy_cleanup(slot.handle);
  }
  curl_multi_cleanup(mMulti);
}

uint64 BareMulti::run(uint64 count, bool waitsFirst) {
  mNext = 0;
  mCount = count;
  mGood = 0;
  for (Slot& slot : mSlots) start(slot);
  for (int running = 1; running > 0;) {
    running = waitsFirst ? performAndWait() : perform();
    running += finishDone();
    if (running > 0 && !waitsFirst) curl_multi_poll(mMulti, nullptr, 0, 1000, nullptr);
  }
  return mGood;
}

int BareMulti::perform() {
  int running = 0;
  curl_multi_perform(mMulti, &running);
  return running;
}

int BareMulti::performAndWait() {
  int running = 0;
  int ready = 0;
  for (int turn = 0; turn < 3 && ready == 0; ++turn) {
    running = perform();
    curl_multi_wait(mMulti, nullptr, 0, 5, &ready);
  }
  return running;
}

bool BareMulti::start(Slot& slot) {
  if (mNext == mCount) return false;
  if (mPrepare != nullptr) mPrepare(slot.handle, mNext);
  ++mNext;
  slot.content.clear();
  return curl_multi_add_handle(mMulti, slot.handle) == CURLM_OK;
}

void BareMulti::finish(const CURLMsg& message, Slot& slot) {
  long status = 0;
  curl_easy_getinfo(slot.handle, CURLINFO_RESPONSE_CODE, &status);
  if (message.data.result == CURLE_OK && status == 200) ++mGood;
  if (mTake != nullptr) mTake(slot.content);
}

int BareMulti::finishDone() {
  int started = 0;
  int queued = 0;
  while (const CURLMsg* const message = curl_multi_info_read(mMulti, &queued)) {
    Slot* slot = nullptr;
    curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &slot);
    finish(*message, *slot);
    curl_multi_remove_handle(mMulti, slot->handle);
    if (start(*slot)) ++started;
  }
  return started;
}

}  // namespace qx::bench
