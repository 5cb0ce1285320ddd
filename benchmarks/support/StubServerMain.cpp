// Serves twelve bytes at every address until its input ends; prints its own address first.
#include "benchmarks/support/StubServer.h"

#include <iostream>

int main() {
  const qx::bench::StubServer server([](const qx::string&) { return "twelve bytes"; }, 0);
  std::cout << server.getUrl() << std::endl;
  std::cin.get();
}
