#include "netweft/base/system/qxLog.h"

#include "netweft/base/system/internal/Clock.h"
#include "netweft/base/system/internal/LogStderr.h"
#include "netweft/base/system/internal/NoDestroy.h"
#include "netweft/base/system/qxStringUtils.h"

#include <array>
#include <chrono>
#include <cstring>

namespace qx {
namespace {

constexpr std::array<const char*, 8> sChannels = {"",        "http",           "url", "curl", "couchdb",
                                                  "esriver", "esresultparser", "jwt"};

/// 0 for a channel that there is not.
uint32 ChannelBit(const char* channel) noexcept {
  for (size_t i = 0; i < sChannels.size(); ++i) {
    if (std::strcmp(sChannels[i], channel) == 0) return 1U << i;
  }
  return 0;
}

}  // namespace

struct NETWEFT_HIDDEN qxLog::Holder {
  constexpr Holder() noexcept : log() {}
  ~Holder() {}
  union {
    qxLog log;
  };
};

constinit qxLog::Holder qxLog::sHolder;

qxLogSink::~qxLogSink() = default;

const vector<string>& qxLog::GetChannels() {
  static impl::NoDestroy<vector<string>> channels(sChannels.begin(), sChannels.end());
  return channels.get();
}

qxLog* qxLog::editPtr() { return &sHolder.log; }

string qxLog::GetTime() {
  const std::chrono::milliseconds now(impl::ClockEpochMs());
  const auto day = std::chrono::floor<std::chrono::days>(now);
  const std::chrono::year_month_day date{std::chrono::sys_days(day)};
  const std::chrono::hh_mm_ss time(now - day);
  const auto two = [](int64 value) { return qxStringUtils::fromInt64(value, 2); };
  return qxStringUtils::fromInt(static_cast<int>(date.year()), 4) + '-' + two(unsigned{date.month()}) + '-' +
         two(unsigned{date.day()}) + ' ' + two(time.hours().count()) + ':' + two(time.minutes().count()) + ':' +
         two(time.seconds().count()) + '.' + qxStringUtils::fromInt64(time.subseconds().count(), 3);
}

bool qxLog::enableChannel(const string& channel, bool on) {
  const uint32 bit = ChannelBit(channel.c_str());
  if (bit == 0 || channel.size() != std::strlen(channel.c_str())) return false;
  switchBits(bit, on);
  return true;
}

void qxLog::enableWarnings(bool on) { switchBits(sWarnings, on); }

void qxLog::enableErrors(bool on) { switchBits(sErrors, on); }

void qxLog::switchBits(uint32 bits, bool on) noexcept {
  if (on) {
    mEnabled.fetch_or(bits);
  } else {
    mEnabled.fetch_and(~bits);
  }
}

void qxLog::setSink(qxLogSink* sink) {
  while (mChangingSink.exchange(true)) mChangingSink.wait(true);
  const uint32 previous = mGeneration.load();
  mSinks[(previous + 1) & 1].store(sink);
  mGeneration.store(previous + 1);
  std::atomic<uint32>& inside = mInside[previous & 1];
  for (uint32 count = inside.load(); count != 0; count = inside.load()) inside.wait(count);
  mChangingSink.store(false);
  mChangingSink.notify_one();
}

bool qxLog::IsAmong(uint32 enabled, qxLogType type, const char* channel) noexcept {
  switch (type) {
    case LT_Detail: return (enabled & ChannelBit(channel != nullptr ? channel : "")) != 0;
    case LT_Warning: return (enabled & sWarnings) != 0;
    case LT_Error: return (enabled & sErrors) != 0;
    default: return false;
  }
}

void qxLog::emit(const qxLogLine& line) noexcept {
  const uint32 generation = enterSink();
  if (qxLogSink* sink = mSinks[generation & 1].load()) {
    sink->write(line);
  } else {
    impl::WriteLineToStderr(line);
  }
  leaveSink(generation);
}

/// Announces itself first and looks again then: a change of the sink either sees the announcement or is seen.
uint32 qxLog::enterSink() noexcept {
  for (;;) {
    const uint32 generation = mGeneration.load();
    mInside[generation & 1].fetch_add(1);
    if (mGeneration.load() == generation) return generation;
    leaveSink(generation);
  }
}

void qxLog::leaveSink(uint32 generation) noexcept {
  std::atomic<uint32>& inside = mInside[generation & 1];
  if (inside.fetch_sub(1) == 1) inside.notify_all();
}

}  // namespace qx
