#pragma once

#include "netweft/base/system/qxTypes.h"

#include <curl/curl.h>

#include <memory>
#include <type_traits>

/// The only way to libcurl in this house. libcurl's variadic calls take `long`, `curl_off_t` or pointers, and an `int`
/// there is undefined without any sanitizer seeing it: so there is one typed wrapper per kind.
namespace qx::http::impl {

struct CurlEasyDeleter {
  void operator()(CURL* handle) const noexcept { curl_easy_cleanup(handle); }
};
using CurlEasyPtr = std::unique_ptr<CURL, CurlEasyDeleter>;

/// A fresh easy handle, null when libcurl has none to give. It comes with what every handle of the library needs and no
/// request ever changes:
/// - an inert transfer function, or a handle whose progress is on and whose owner sets none prints a meter on stderr;
/// - paths sent as they are, or documents named "." and ".." would fetch their parents;
/// - no CA file and no CA folder of libcurl's own: the shared store of `qxOpenSSL::setCertStore` takes their place.
///   libcurl fills the context's store after the context callback has run, and would parse the system's bundle
///   into the shared store for each new connection.
CurlEasyPtr CreateEasyHandle() noexcept;

/// The same, and a multi handle to be cleaned up by its owner, for those who make one once and keep it: without memory
/// for it they could never work. Throw std::bad_alloc.
CurlEasyPtr CreateLastingEasyHandle();
CURLM* CreateMultiHandle();

/// Each returns the CURLcode of `curl_easy_setopt`, as an int, so that results can be ORed.
int SetLong(CURL* handle, CURLoption option, long value) noexcept;
int SetOffset(CURL* handle, CURLoption option, curl_off_t value) noexcept;
/// A text is copied by libcurl; null unsets.
int SetText(CURL* handle, CURLoption option, const char* value) noexcept;
/// A data pointer, which libcurl keeps.
int SetPointer(CURL* handle, CURLoption option, void* value) noexcept;
int SetList(CURL* handle, CURLoption option, curl_slist* value) noexcept;

template <class Function>
  requires std::is_function_v<Function>
int SetFunction(CURL* handle, CURLoption option, Function* value) noexcept {
  return static_cast<int>(curl_easy_setopt(handle, option, value));
}
/// Back to libcurl's own function.
int UnsetFunction(CURL* handle, CURLoption option) noexcept;

/// 0 and the empty string when libcurl has no value.
long GetLong(CURL* handle, CURLINFO info) noexcept;
string GetText(CURL* handle, CURLINFO info);

/// A list of header lines.
class CurlStringList {
 public:
  /// Throws std::bad_alloc when libcurl cannot make the element.
  void append(const string& line);
  void clear() noexcept { mList.reset(); }
  curl_slist* get() const noexcept { return mList.get(); }

 private:
  struct Deleter {
    void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
  };
  std::unique_ptr<curl_slist, Deleter> mList;
};

/// The null device: as a cookie jar it turns the cookie engine on, and nothing is ever written.
const char* GetNullDevice() noexcept;

}  // namespace qx::http::impl
