// Brings a whole database into an index, once, and prints what that took as JSON: the River, or a bare loop of sixteen
// handles that fetches the documents of the stub and writes them behind each other. scripts/bench runs both.
//   river_loop ours COUCHDB ELASTICSEARCH DATABASE INDEX [BATCH_BYTES [BATCH_DOCUMENTS]]
//   river_loop bare STUB_COUCHDB
#include "benchmarks/river/StubCouch.h"
#include "benchmarks/support/BareMulti.h"
#include "netweft/base/json/Json2Variant.h"
#include "netweft/base/system/qxHighResTimer.h"
#include "netweft/base/system/qxThread.h"
#include "netweft/frame/Netweft.h"
#include "netweft/http/HttpHelpers.h"
#include "netweft/river/CouchToEsRiverManager.h"

#include <sys/resource.h>

#include <fstream>
#include <iostream>

namespace {

using namespace qx;
using bench::BareMulti;
using couch::CouchToEsRiverManager;

uint64 ReadUpdateSeq(const string& database) {
  http::HttpConnection connection(true);
  http::HttpHelpers::HttpResult result;
  string text;
  qxVariantMapImpl map;
  if (!http::HttpHelpers::HttpGetJson(connection, Url(database), text, &result) ||
      !json::Json2Variant::Convert(text.data(), text.size(), map)) {
    return 0;
  }
  return static_cast<uint64>(map.getInteger("update_seq", 0));
}

void RunRiver(const vector<string>& words, uint64 count) {
  CouchToEsRiverManager::Parameters parameters;
  parameters.couch = Url(words[0]);
  parameters.es = Url(words[1]);
  if (words.size() > 4) parameters.maxBatchBytes = static_cast<uint32>(std::stoul(words[4]));
  if (words.size() > 5) parameters.maxDocsPerBatch = static_cast<int32>(std::stoi(words[5]));
  CouchToEsRiverManager::IndexDefinition definition;
  definition.dbName = words[2];
  definition.indexName = words[3];
  definition.settings["index.number_of_shards"] = 1;
  definition.settings["index.number_of_replicas"] = 0;
  CouchToEsRiverManager river(parameters);
  river.addIndex(definition);
  uint64 reached = 0;
  string descriptor;
  while (!river.getIndexInfo(definition.indexName, nullptr, &reached, &descriptor) || reached < count) {
    qxThread::msleep(1);
  }
}

bool RunBare(const string& couch, uint64 count) {
  string all;
  const string database = couch + "/db/";
  BareMulti multi(
      couch,
      [&database](CURL* handle, uint64 number) {
        curl_easy_setopt(handle, CURLOPT_URL, (database + bench::StubCouch::IdOf(number + 1)).c_str());
      },
      [&all](const string& body) { all += body; });
  return multi.run(count, false) == count;
}

double CpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double PeakMebibytes() {
  std::ifstream status("/proc/self/status");
  for (string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) return std::stod(line.substr(6)) / 1024;
  }
  return 0;
}

bool Run(const string& mode, const vector<string>& words) {
  const uint64 count = ReadUpdateSeq(words[0] + "/" + (mode == "ours" ? words[2] : "db"));
  if (count == 0) return false;
  qxHighResTimer timer;
  timer.start();
  if (mode == "ours") {
    RunRiver(words, count);
  } else if (!RunBare(words[0], count)) {
    return false;
  }
  const double seconds = timer.getElapsedTimeInSec();
  std::cout << R"({"documents":)" << count << R"(,"seconds":)" << seconds << R"(,"cpu_seconds":)" << CpuSeconds()
            << R"(,"peak_mebibytes":)" << PeakMebibytes() << "}\n";
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  const string mode = argc < 2 ? "" : argv[1];
  const vector<string> words(argv + std::min(2, argc), argv + argc);
  if ((mode != "ours" || words.size() < 4) && (mode != "bare" || words.size() != 1)) return 2;
  initializeNetweft(true, http::HNRP_Whatever, http::PP_NoProxy);
  const bool good = Run(mode, words);
  terminateNetweft();
  return good ? 0 : 1;
}
