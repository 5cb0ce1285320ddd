#include "netweft/river/internal/ChangeQueue.h"

namespace qx::couch {

ChangeQueue::Insertion ChangeQueue::insert(List& from, List::iterator record, Position position, InsertMode mode) {
  const auto [found, isNew] = mById.insert(record);
  if (!isNew) return resolvePresent(*found, position, mode);
  mOrder.splice(position, from, record);
  return {&*record, true};
}

ChangeQueue::Insertion ChangeQueue::insert(ChangeRecord&& record, Position position, InsertMode mode) {
  const auto found = mById.find(record.id.view());
  if (found != mById.end()) return resolvePresent(*found, position, mode);
  List single;
  single.push_back(std::move(record));
  return insert(single, single.begin(), position, mode);
}

ChangeQueue::Insertion ChangeQueue::resolvePresent(Position present, Position position, InsertMode mode) {
  if (mode == IM_Leave) return {nullptr, false};
  if (mode == IM_Move) mOrder.splice(position, mOrder, present);
  return {&*present, false};
}

void ChangeQueue::popFront(List& out) {
  mById.erase(mOrder.begin());
  out.splice(out.end(), mOrder, mOrder.begin());
}

void ChangeQueue::clear() noexcept {
  mById = Index();
  mOrder.clear();
}

}  // namespace qx::couch
