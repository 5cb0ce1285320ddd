#include "netweft/jwt/Alg.h"

#include "netweft/base/system/internal/AsciiText.h"
#include "netweft/jwt/internal/AlgTraits.h"

#include <algorithm>
#include <array>

namespace qx::jwt {

namespace {

constexpr std::array<AlgTraits, 9> sTable{{
    {HS256, "HS256", HT_Sha256},
    {HS384, "HS384", HT_Sha384},
    {HS512, "HS512", HT_Sha512},
    {RS256, "RS256", HT_Sha256},
    {RS384, "RS384", HT_Sha384},
    {RS512, "RS512", HT_Sha512},
    {ES256, "ES256", HT_Sha256},
    {ES384, "ES384", HT_Sha384},
    {ES512, "ES512", HT_Sha512},
}};

template <class Predicate>
const AlgTraits* FindRow(Predicate predicate) noexcept {
  const auto* row = std::find_if(sTable.begin(), sTable.end(), predicate);
  return row == sTable.end() ? nullptr : row;
}

}  // namespace

const AlgTraits* FindAlgTraits(int alg) noexcept {
  return FindRow([alg](const AlgTraits& row) { return row.alg == alg; });
}

string AlgToString(Alg alg) {
  const AlgTraits* row = FindAlgTraits(alg);
  return row == nullptr ? string() : string(row->name);
}

Alg StringToAlg(const string& text) {
  const AlgTraits* row =
      FindRow([&text](const AlgTraits& candidate) { return impl::EqualIgnoringCase(candidate.name, text); });
  return row == nullptr ? AlgNone : row->alg;
}

}  // namespace qx::jwt
