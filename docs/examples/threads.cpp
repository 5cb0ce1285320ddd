// Several threads fetch the same page through one pool, until they are told to stop:
//   threads http://127.0.0.1:5984/
#include "netweft/netweft.h"

#include <csignal>
#include <iostream>
#include <thread>

namespace {

// [pool]
void FetchUntilAborted(qx::http::HttpConnectionPool& pool, const qx::Url& url, const bool* abortFlag) {
  while (!qx::ReadFlag(abortFlag)) {
    const qx::http::HttpConnectionLocker connection(pool, url);  // this thread's alone, until the end of the scope
    std::string content;
    if (!qx::http::HttpHelpers::HttpGetJson(*connection, url, content, nullptr, nullptr, nullptr, abortFlag)) return;
  }
}
// [pool]

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  qx::initializeNetweft(true, qx::http::HNRP_Whatever, qx::http::PP_NoProxy);
  {
    // [flag]
    const qx::Url url(argc > 1 ? argv[1] : "http://127.0.0.1:5984");
    qx::http::HttpConnectionPool pool;
    pool.setMaxPendingConnection(4);  // else one idle connection is kept, and three are closed each time
    bool abortFlag = false;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back(FetchUntilAborted, std::ref(pool), url, &abortFlag);
    std::cin.get();
    qx::StoreFlag(abortFlag, true);  // never a bare assignment: other threads are reading it
    for (std::thread& thread : threads) thread.join();
    // [flag]
  }
  qx::terminateNetweft();
}
