#pragma once

#include "netweft/base/system/qxVariant.h"

namespace qx {

/// The door of the JSON reader and writer, and of the containers, into a variant's private half. No lock.
struct qxVariantAccess {
  using Tree = qxVariantMapImpl::Tree;
  using Elements = qxVariantListImpl::Elements;

  /// Makes a `VT_Number` out of its literal text, which must be a JSON number; it is not checked.
  static void SetNumber(qxVariant& value, string literal);
  static qxVariant MakeNumber(string literal);

  /// The literal text; `value` must be a `VT_Number`.
  static const string& GetNumber(const qxVariant& value) noexcept { return *value.mPayload.text; }

  /// What is held in place; `value` must have the tag.
  static int64 GetInteger(const qxVariant& value) noexcept { return value.mPayload.integer; }
  static bool GetBool(const qxVariant& value) noexcept { return value.mPayload.integer != 0; }
  static double GetDouble(const qxVariant& value) noexcept { return value.mPayload.real; }

  static void SetNull(qxVariant& value) noexcept;

  /// Moves the container in, without a copy of its content; it may be a piece of `value`.
  static void SetMap(qxVariant& value, qxVariantMapImpl&& map);
  static void SetList(qxVariant& value, qxVariantListImpl&& list);

  /// What stands behind the containers: to insert with a hint, to reserve.
  static Tree& EditTree(qxVariantMapImpl& map) noexcept { return map.mTree; }
  static const Tree& GetTree(const qxVariantMapImpl& map) noexcept { return map.mTree; }
  static Elements& EditElements(qxVariantListImpl& list) noexcept { return list.mElements; }
  static const Elements& GetElements(const qxVariantListImpl& list) noexcept { return list.mElements; }

  /// The walks over whole values: qxVariantWalk.h.
  struct Teardown;
  class Copier;
  class Comparer;
};

}  // namespace qx
