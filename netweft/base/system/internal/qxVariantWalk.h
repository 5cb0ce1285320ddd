#pragma once

#include "netweft/base/system/internal/qxVariantAccess.h"

/// The walks over whole values. None recurses: what is still to be done stands in a chain or a list, so that a value a
/// million levels deep needs no stack.
namespace qx {

/// A map or list that a variant owns. `next` chains those that wait to be torn down, so that a teardown allocates
/// nothing and cannot fail.
struct qxVariantAccess::Teardown {
  struct OwnedMap : qxVariantMapImpl {
    OwnedMap* next = nullptr;
  };
  struct OwnedList : qxVariantListImpl {
    OwnedList* next = nullptr;
  };

  static void MakeEmptyMap(qxVariant& absent);
  static void MakeEmptyList(qxVariant& absent);

  /// Frees what the variant owns, however deep, and leaves it absent.
  static void Destroy(qxVariant& value) noexcept;

 private:
  void take(qxVariant& value) noexcept;
  void drainMap() noexcept;
  void drainList() noexcept;

  OwnedMap* mMaps = nullptr;
  OwnedList* mLists = nullptr;
};

/// Copies into empty containers or absent variants. Running out of memory leaves the target a valid partial copy.
///
/// A tree or vector is copied by its own copy constructor, which knows the shape and compares no keys. The copies of
/// its variants come back here, to the copier that is at work on this thread, and containers among them wait for their
/// turn.
class qxVariantAccess::Copier {
 public:
  static void Copy(qxVariant& absent, const qxVariant& from);
  static void Copy(qxVariantMapImpl& empty, const qxVariantMapImpl& from);
  static void Copy(qxVariantListImpl& empty, const qxVariantListImpl& from);

 private:
  void copyValue(qxVariant& absent, const qxVariant& from);
  template <class Container>
  void copyContainer(Container& empty, const Container& from);
  void finish();

  vector<pair<Tree*, const Tree*>> mMaps;
  vector<pair<Elements*, const Elements*>> mLists;
};

class qxVariantAccess::Comparer {
 public:
  static bool AreEqual(const qxVariant& a, const qxVariant& b);
  static bool AreEqual(const qxVariantMapImpl& a, const qxVariantMapImpl& b);
  static bool AreEqual(const qxVariantListImpl& a, const qxVariantListImpl& b);

 private:
  bool compareValues(const qxVariant& a, const qxVariant& b);
  bool compareMembers(const Tree& a, const Tree& b);
  bool compareElements(const Elements& a, const Elements& b);
  bool finish();

  static bool IsNumber(const qxVariant& value) noexcept;
  static bool AreNumbersEqual(const qxVariant& a, const qxVariant& b) noexcept;
  static double ToDouble(const qxVariant& number) noexcept;

  vector<pair<const Tree*, const Tree*>> mMaps;
  vector<pair<const Elements*, const Elements*>> mLists;
};

}  // namespace qx
