#include "tests/chaos/ChaosClient.h"

namespace qx::test {

std::ostream& operator<<(std::ostream& out, Outcome outcome) {
  switch (outcome) {
    case Outcome::Worked: return out << "worked";
    case Outcome::Altered: return out << "worked on something else";
    case Outcome::Broke: return out << "broke";
  }
  return out;
}

std::ostream& operator<<(std::ostream& out, const ChaosClientKind& kind) { return out << kind.name; }

}  // namespace qx::test
