#include "netweft/http/internal/CurlEasy.h"

#include <new>

namespace qx::http::impl {

namespace {

int InertTransferFunction(void*, curl_off_t, curl_off_t, curl_off_t, curl_off_t) noexcept { return 0; }

}  // namespace

CurlEasyPtr CreateEasyHandle() noexcept {
  CurlEasyPtr handle(curl_easy_init());
  if (handle == nullptr) return handle;
  SetFunction(handle.get(), CURLOPT_XFERINFOFUNCTION, InertTransferFunction);
  SetLong(handle.get(), CURLOPT_PATH_AS_IS, 1);
  SetText(handle.get(), CURLOPT_CAINFO, nullptr);
  SetText(handle.get(), CURLOPT_CAPATH, nullptr);
  return handle;
}

CurlEasyPtr CreateLastingEasyHandle() {
  CurlEasyPtr handle = CreateEasyHandle();
  if (handle == nullptr) throw std::bad_alloc();
  return handle;
}

CURLM* CreateMultiHandle() {
  CURLM* const handle = curl_multi_init();
  if (handle == nullptr) throw std::bad_alloc();
  return handle;
}

int SetLong(CURL* handle, CURLoption option, long value) noexcept {
  return static_cast<int>(curl_easy_setopt(handle, option, value));
}

int SetOffset(CURL* handle, CURLoption option, curl_off_t value) noexcept {
  return static_cast<int>(curl_easy_setopt(handle, option, value));
}

int SetText(CURL* handle, CURLoption option, const char* value) noexcept {
  return static_cast<int>(curl_easy_setopt(handle, option, value));
}

int SetPointer(CURL* handle, CURLoption option, void* value) noexcept {
  return static_cast<int>(curl_easy_setopt(handle, option, value));
}

int SetList(CURL* handle, CURLoption option, curl_slist* value) noexcept {
  return static_cast<int>(curl_easy_setopt(handle, option, value));
}

int UnsetFunction(CURL* handle, CURLoption option) noexcept {
  return static_cast<int>(curl_easy_setopt(handle, option, static_cast<void*>(nullptr)));
}

long GetLong(CURL* handle, CURLINFO info) noexcept {
  long value = 0;
  return curl_easy_getinfo(handle, info, &value) == CURLE_OK ? value : 0;
}

string GetText(CURL* handle, CURLINFO info) {
  const char* value = nullptr;
  if (curl_easy_getinfo(handle, info, &value) != CURLE_OK || value == nullptr) return {};
  return value;
}

void CurlStringList::append(const string& line) {
  curl_slist* grown = curl_slist_append(mList.get(), line.c_str());
  if (grown == nullptr) throw std::bad_alloc();
  static_cast<void>(mList.release());
  mList.reset(grown);
}

const char* GetNullDevice() noexcept {
#if defined(_WIN32)
  return "NUL";
#else
  return "/dev/null";
#endif
}

}  // namespace qx::http::impl
