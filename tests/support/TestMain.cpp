#include <gtest/gtest.h>

#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <locale>

namespace {

/// Groups digits as some hosts' locales do: 100000 prints as "100,000".
class GroupingPunctuation final : public std::numpunct<char> {
  char do_thousands_sep() const override { return ','; }
  std::string do_grouping() const override { return "\3"; }
};

/// NETWEFT_TEST_LOCALE=foreign runs the tests under a grouping C++ locale and a C locale with a decimal comma: text on
/// the wire must not follow the host's locale. Streams of the tests themselves follow it too.
void ApplyForeignLocale() {
  const char* wanted = std::getenv("NETWEFT_TEST_LOCALE");
  if (wanted == nullptr || std::strcmp(wanted, "foreign") != 0) return;
  if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) {
    std::cout << "no locale de_DE.UTF-8 on this machine: only the C++ locale is foreign in this run" << std::endl;
  }
  std::locale::global(std::locale(std::locale::classic(), new GroupingPunctuation));
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  ApplyForeignLocale();
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
