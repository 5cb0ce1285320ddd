#include "netweft/jwt/internal/KeyRecords.h"

namespace qx::jwt {

namespace {

bool IsFresh(const KeyRecord& record, int64 nowSec) { return nowSec - record.fetchedAtSec <= KeyRecords::sLifetimeSec; }

}  // namespace

const KeyRecord* KeyRecords::findFresh(const string& kid, int64 nowSec) const {
  const auto found = mById.find(kid);
  return found != mById.end() && IsFresh(found->second->record, nowSec) ? &found->second->record : nullptr;
}

void KeyRecords::clearExpired(int64 nowSec) {
  while (!mByAge.empty() && !IsFresh(mByAge.front().record, nowSec)) {
    mById.erase(mByAge.front().place);
    mByAge.pop_front();
  }
}

bool KeyRecords::moveToEnd(const string& kid) {
  const auto found = mById.find(kid);
  if (found == mById.end()) return false;
  mByAge.splice(mByAge.end(), mByAge, found->second);
  return true;
}

void KeyRecords::add(const string& kid, KeyRecord record) {
  ByAge fresh;
  fresh.push_back({std::move(record), mById.end()});
  const auto [place, isNew] = mById.try_emplace(kid, fresh.begin());
  if (!isNew) return;
  fresh.front().place = place;
  mByAge.splice(mByAge.end(), fresh);
}

}  // namespace qx::jwt
