#include "netweft/http/HttpMultiConnection.h"

#include "netweft/base/system/internal/AsciiText.h"
#include "netweft/base/system/qxHighResTimer.h"
#include "netweft/base/system/qxStringUtils.h"
#include "netweft/http/internal/HttpMultiConnectionImpl.h"

#include <algorithm>
#include <string_view>

namespace qx::http {

HttpMultiConnection::HttpMultiConnection(int maxConcurrent)
    : mImpl(std::make_unique<HttpMultiConnectionImpl>(*this, std::max(1, maxConcurrent))) {}

HttpMultiConnection::~HttpMultiConnection() = default;

void HttpMultiConnection::addRequest(unique_ptr<Request>& request) {
  if (request != nullptr) mImpl->requestQueue.push_back(std::move(request));
}

void HttpMultiConnection::updateConnection(int maxDurationMs) {
  if (mImpl->pumping) return;
  const HttpMultiConnectionImpl::PumpMark mark(*mImpl);
  qxHighResTimer timer;
  timer.start();
  while (mImpl->runPass() && timer.getElapsedTimeInMilliSec() < maxDurationMs) {
  }
}

void HttpMultiConnection::cancelRequests(bool queuedOnly) {
  mImpl->requestQueue.clear();
  if (queuedOnly) return;
  for (impl::TransferSlot& slot : mImpl->transferSlots) slot.cancelled = true;
}

bool HttpMultiConnection::isAllRequestsDone() const noexcept {
  return mImpl->requestQueue.empty() &&
         std::all_of(mImpl->transferSlots.begin(), mImpl->transferSlots.end(),
                     [](const impl::TransferSlot& slot) { return slot.request == nullptr; });
}

void HttpMultiConnection::setCallback(CompletionCallback callback, void* completionContext) noexcept {
  mCompletionCallback = callback;
  mCompletionContext = completionContext;
}

void HttpMultiConnection::setCommonHeaders(const list<string>& headers) { mCommonHeaders = headers; }

const list<string>& HttpMultiConnection::getCommonHeaders() const noexcept { return mCommonHeaders; }

void HttpMultiConnection::addCommonHeader(const string& header) { mCommonHeaders.push_back(header); }

void HttpMultiConnection::setConnectionParameters(const ConnectionParameters& parameters) { mParameters = parameters; }

const ConnectionParameters& HttpMultiConnection::getConnectionParameters() const noexcept { return mParameters; }

ConnectionParameters& HttpMultiConnection::editConnectionParameters() noexcept { return mParameters; }

void HttpMultiConnection::ParseHttpHeader(const char* data, size_t size, string& key, string& value) {
  const std::string_view line(data, size);
  const size_t colon = line.find(':');
  key = qx::impl::Trimmed(line.substr(0, colon));
  value.clear();
  if (colon == std::string_view::npos) return;
  value = qx::impl::Trimmed(line.substr(colon + 1));
  qxStringUtils::toLower(key);
}

}  // namespace qx::http
