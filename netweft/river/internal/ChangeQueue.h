#pragma once

#include "netweft/river/internal/ChangeRecord.h"

#include <unordered_set>

namespace qx::couch {

/// The changes of one database that wait for a Worker: in queue order, each document once.
///
/// Elements live in list nodes that move between the queue and its users' lists without a copy or an allocation. The
/// id of an element that stands in the queue may be replaced only by an equal one. Movable; no lock.
class ChangeQueue {
 public:
  using List = std::list<ChangeRecord>;
  /// Valid until its element leaves the queue. `end()` means "no position".
  using Position = List::iterator;

  /// What an insertion does about an id that is in the queue already.
  enum InsertMode : int32 {
    IM_Leave = 0,   ///< nothing: the element stays as it is and is not handed out
    IM_Return = 1,  ///< hands the element out where it stands
    IM_Move = 2,    ///< moves the element to the position and hands it out
  };

  struct Insertion {
    /// The element of that id; null when `IM_Leave` found one.
    ChangeRecord* element;
    /// True when the id was not in the queue before.
    bool inserted;
  };

  ChangeQueue() = default;
  ChangeQueue(ChangeQueue&&) = default;
  ChangeQueue& operator=(ChangeQueue&&) = default;

  /// An id that is not present goes in front of `position`, or to the end; what happens to a present one says `mode`.
  ///
  /// The node `*record` of `from` is taken over when its id is new. Otherwise it stays in `from` as it is, and the
  /// caller moves over what it wants of it.
  Insertion insert(List& from, List::iterator record, Position position, InsertMode mode);

  /// The same with a record that stands in no list. `record` is moved from only when its id is new.
  Insertion insert(ChangeRecord&& record, Position position, InsertMode mode);

  /// Moves the first element to the end of `out`. The queue must not be empty.
  void popFront(List& out);

  /// Gives the memory back too.
  void clear() noexcept;

  /// In queue order.
  Position begin() noexcept { return mOrder.begin(); }
  Position end() noexcept { return mOrder.end(); }

  uint64 size() const noexcept { return mOrder.size(); }
  bool empty() const noexcept { return mOrder.empty(); }

 private:
  /// The index finds an element by its id's bytes without keeping them a second time.
  struct HashById {
    using is_transparent = void;
    // Not noexcept: then the standard library keeps the hash beside each entry, at no cost in memory here, and does not
    // visit the elements again when it grows.
    size_t operator()(std::string_view id) const { return std::hash<std::string_view>()(id); }
    size_t operator()(const Position& element) const { return (*this)(element->id.view()); }
  };
  struct EqualById {
    using is_transparent = void;
    bool operator()(const Position& a, const Position& b) const noexcept { return a->id == b->id; }
    bool operator()(std::string_view a, const Position& b) const noexcept { return a == b->id.view(); }
    bool operator()(const Position& a, std::string_view b) const noexcept { return a->id.view() == b; }
  };
  using Index = std::unordered_set<Position, HashById, EqualById>;

  /// The answer for an id that is present.
  Insertion resolvePresent(Position present, Position position, InsertMode mode);

  List mOrder;
  Index mById;
};

}  // namespace qx::couch
