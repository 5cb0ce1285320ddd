#include "netweft/couch/internal/FeedBuffer.h"

namespace qx::couch {

void FeedBuffer::clear() noexcept {
  mBytes.clear();
  mTaken = 0;
  mSearched = 0;
}

void FeedBuffer::append(const char* data, size_t n) {
  mBytes.erase(mBytes.begin(), mBytes.begin() + static_cast<std::ptrdiff_t>(mTaken));
  mSearched -= mTaken;
  mTaken = 0;
  mBytes.insert(mBytes.end(), data, data + n);
}

void FeedBuffer::skipLineFeeds() noexcept {
  while (mTaken < mBytes.size() && mBytes[mTaken] == '\n') ++mTaken;
  if (mSearched < mTaken) mSearched = mTaken;
}

bool FeedBuffer::takeLine(std::string_view& line) noexcept {
  const std::string_view all(mBytes.data(), mBytes.size());
  const size_t end = all.find('\n', mSearched);
  if (end == std::string_view::npos) {
    mSearched = all.size();
    return false;
  }
  line = all.substr(mTaken, end - mTaken);
  mTaken = end + 1;
  mSearched = mTaken;
  return true;
}

std::string_view FeedBuffer::view() const noexcept {
  return std::string_view(mBytes.data(), mBytes.size()).substr(mTaken);
}

}  // namespace qx::couch
