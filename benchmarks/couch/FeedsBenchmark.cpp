// What a call of updateListener costs while so many feeds are open and nothing comes on them, beside a bare multi
// handle with as many transfers that is asked to go on three times, as a pass of the listener does. Argument: the
// feeds.
#include "benchmarks/support/StubServer.h"
#include "netweft/couch/ChangesListener.h"
#include "netweft/frame/Netweft.h"

#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

namespace qx::bench {

namespace {

/// One heartbeat in the only chunk: the feed is open, and stays so.
string OpenFeed(const string&, const string&) {
  return "HTTP/1.1 200 Fine\r\nContent-Type: application/json\r\nTransfer-Encoding: chunked\r\n\r\n1\r\n\n\r\n";
}

/// The server in a process of its own: it has a thread for each feed, and whenever libcurl ignores SIGPIPE, the kernel
/// visits each thread of the process.
class OpenFeeds {
 public:
  OpenFeeds() {
    if (::pipe(mAnswer) != 0 || ::pipe(mStop) != 0) throw std::runtime_error("no pipes");
    mChild = ::fork();
    if (mChild == 0) serve();
    ::close(mAnswer[1]);
    ::close(mStop[0]);
    char text[64];
    const ssize_t size = ::read(mAnswer[0], text, sizeof(text));
    if (size > 0) mUrl.assign(text, static_cast<size_t>(size));
  }
  OpenFeeds(const OpenFeeds&) = delete;
  OpenFeeds& operator=(const OpenFeeds&) = delete;
  ~OpenFeeds() {
    ::close(mStop[1]);
    ::close(mAnswer[0]);
    ::waitpid(mChild, nullptr, 0);
  }

  const string& getUrl() const { return mUrl; }

 private:
  /// Until the parent closes its end.
  [[noreturn]] void serve() {
    ::close(mStop[1]);
    const StubServer server(OpenFeed);
    const string url = server.getUrl();
    char end = 0;
    if (::write(mAnswer[1], url.data(), url.size()) > 0) static_cast<void>(::read(mStop[0], &end, 1) > 0);
    ::_exit(0);
  }

  int mAnswer[2];
  int mStop[2];
  pid_t mChild;
  string mUrl;
};

void CountHeartbeat(couch::ChangesListener::CallbackMsg message, const couch::ChangesListener::CallbackParam&,
                    void* count) {
  if (message == couch::ChangesListener::CM_Heartbeat) ++*static_cast<int64*>(count);
}

void IdleFeeds(benchmark::State& state) {
  const OpenFeeds server;
  couch::ChangesListener listener{couch::CouchConnectionParameters(Url(server.getUrl()))};
  int64 open = 0;
  for (int64 i = 0; i < state.range(0); ++i) {
    listener.startListeningDb("db" + std::to_string(i), 0, CountHeartbeat, &open,
                              couch::ChangesListener::RC_ChangesOnly, 10, 30, 1);
  }
  while (open < state.range(0)) listener.updateListener(100);
  for (auto _ : state) listener.updateListener(100);
}

size_t CountBytes(char*, size_t size, size_t count, void* total) {
  *static_cast<int64*>(total) += static_cast<int64>(size * count);
  return size * count;
}

void IdleTransfersBare(benchmark::State& state) {
  const OpenFeeds server;
  CURLM* const multi = curl_multi_init();
  vector<CURL*> handles(static_cast<size_t>(state.range(0)));
  int64 open = 0;
  for (CURL*& handle : handles) {
    handle = curl_easy_init();
    curl_easy_setopt(handle, CURLOPT_URL, server.getUrl().c_str());
    curl_easy_setopt(handle, CURLOPT_PROXY, "");
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, CountBytes);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &open);
    curl_multi_add_handle(multi, handle);
  }
  int running = 0;
  while (open < state.range(0)) curl_multi_perform(multi, &running);
  for (auto _ : state) {
    for (int i = 0; i < 3; ++i) curl_multi_perform(multi, &running);
  }
  for (CURL* const handle : handles) {
    curl_multi_remove_handle(multi, handle);
    curl_easy_cleanup(handle);
  }
  curl_multi_cleanup(multi);
}

void EachCount(benchmark::internal::Benchmark* benchmark) { benchmark->ArgName("feeds")->Arg(5)->Arg(50)->Arg(500); }

const bool sInitialized = [] {
  initializeNetweft(true, http::HNRP_Whatever, http::PP_NoProxy);
  return true;
}();

BENCHMARK(IdleFeeds)->Apply(EachCount);
BENCHMARK(IdleTransfersBare)->Apply(EachCount);

}  // namespace

}  // namespace qx::bench
