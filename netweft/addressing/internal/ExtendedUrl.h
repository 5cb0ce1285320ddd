#pragma once

#include "netweft/addressing/Url.h"

#include <initializer_list>
#include <string_view>

namespace qx::impl {

/// What `Url::toUrl` gives, made in place: a copy of `url`, a Url or what is derived from one, with the segments
/// appended to its path and its query replaced.
template <class AnyUrl>
AnyUrl Extended(const AnyUrl& url, std::initializer_list<std::string_view> segments, const StringPairList& parameters) {
  AnyUrl result(url);
  result.editPath().insert(result.getPath().end(), segments.begin(), segments.end());
  result.setUrlParameters(parameters);
  return result;
}

}  // namespace qx::impl
