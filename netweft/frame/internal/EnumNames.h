#pragma once

#include "netweft/base/system/EnumHelperInterface.h"

namespace qx::impl {

/// The table of an enumeration's names, from the text of its declaration.
inline EnumHelperInterface::NameTable ParseEnumNames(const string& declaration) {
  EnumHelperInterface::NameTable names;
  EnumHelperInterface::__GetEnumToStringMap(names, declaration);
  return names;
}

}  // namespace qx::impl
