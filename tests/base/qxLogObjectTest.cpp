#include "netweft/base/system/qxLogObject.h"

#include "tests/base/StderrCapture.h"
#include "tests/support/AllocationHooks.h"
#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <limits>
#include <locale>

namespace qx {
namespace {

using test::CapturedLine;
using test::Detail;
using test::Error;
using test::LogCapture;
using test::Warning;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

/// Puts a grouping locale in the process's place while it lives.
class GroupingLocale {
 public:
  GroupingLocale() : mPrevious(std::locale::global(std::locale(std::locale(), new Punctuation))) {}
  ~GroupingLocale() { std::locale::global(mPrevious); }

 private:
  class Punctuation final : public std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
  };

  std::locale mPrevious;
};

TEST(qxLogObject, LineIsEmittedWholeByTheDestructor) {
  const LogCapture log;
  {
    qxLogObject line(LT_Detail, "http", qxLog::editPtr(), nullptr);
    line << "one " << string("two ") << 3;
    EXPECT_THAT(log.getLines(), IsEmpty());
  }
  EXPECT_THAT(log.getLines(), ElementsAre(Detail("http", "one two 3")));
}

TEST(qxLogObject, AppendingGivesTheObject) {
  const LogCapture log;
  qxLogObject line(LT_Error, nullptr, qxLog::editPtr(), nullptr);
  EXPECT_EQ(&(line << "text"), &line);
  EXPECT_EQ(&(line << string("text")), &line);
  EXPECT_EQ(&(line << 5), &line);
}

TEST(qxLogObject, LineWithoutTextIsEmittedToo) {
  const LogCapture log;
  LogError();
  EXPECT_THAT(log.getLines(), ElementsAre(Error("")));
}

TEST(qxLogObject, NullTextAppendsNothing) {
  const LogCapture log;
  const char* none = nullptr;
  LogError() << "a" << none << "b";
  EXPECT_THAT(log.getLines(), ElementsAre(Error("ab")));
}

TEST(qxLogObject, StringKeepsItsTerminators) {
  const LogCapture log;
  LogError() << string("a\0b", 3);
  EXPECT_THAT(log.getLines(), ElementsAre(Error(string("a\0b", 3))));
}

TEST(qxLogObject, NumbersOfEveryWidthAreWritten) {
  const LogCapture log;
  LogError() << std::numeric_limits<int64>::min() << ' ' << std::numeric_limits<uint64>::max() << ' ' << -5 << ' ' << 5U
             << ' ' << 2.5;
  EXPECT_THAT(log.getLines(), ElementsAre(Error("-9223372036854775808 18446744073709551615 -5 5 2.5")));
}

TEST(qxLogObject, NumbersDoNotFollowTheLocale) {
  const GroupingLocale locale;
  const LogCapture log;
  LogError() << 1234567 << " " << 0.5;
  EXPECT_THAT(log.getLines(), ElementsAre(Error("1234567 0.5")));
}

TEST(qxLogObject, DroppedLineAllocatesNothingAndEmitsNothing) {
  const LogCapture log;
  const string text(10000, 'x');
  const size_t before = test::CountAllocations();
  {
    qxLogObject line(LT_Dropped, "http", qxLog::editPtr(), nullptr);
    for (int i = 0; i < 1000; ++i) line << text << "text" << i << 2.5 << uint64{7};
  }
  EXPECT_EQ(test::CountAllocations(), before);
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST(qxLogObject, LineThatIsSwitchedOffAllocatesNothing) {
  const string text(10000, 'x');
  const size_t before = test::CountAllocations();
  LogDetail("http") << "text" << text << 5;
  LogDetail(nullptr) << "text" << text << 5;
  qxLog::editPtr()->enableErrors(false);
  LogError() << "text" << text << 5;
  qxLog::editPtr()->enableErrors(true);
  EXPECT_EQ(test::CountAllocations(), before);
}

TEST(qxLogObject, SwitchCountsAtConstruction) {
  const LogCapture log;
  qxLog::editPtr()->enableChannel("http", false);
  {
    qxLogObject line(LT_Detail, "http", qxLog::editPtr(), nullptr);
    qxLog::editPtr()->enableChannel("http", true);
    line << "dropped";
  }
  {
    qxLogObject line(LT_Detail, "http", qxLog::editPtr(), nullptr);
    qxLog::editPtr()->enableChannel("http", false);
    line << "written";
  }
  EXPECT_THAT(log.getLines(), ElementsAre(Detail("http", "written")));
}

TEST(qxLogObject, ShorthandsGiveTheThreeKindsOfLine) {
  const LogCapture log;
  LogDetail("jwt") << "a";
  LogDetail(nullptr) << "b";
  LogWarning() << "c";
  LogError() << "d";
  EXPECT_THAT(log.getLines(), ElementsAre(Detail("jwt", "a"), Detail("", "b"), Warning("c"), Error("d")));
}

TEST(qxLogObject, WithoutALogTheLineGoesToStderrPastSinkAndSwitches) {
  const LogCapture log;
  test::StderrCapture capture;
  qxLog::editPtr()->enableErrors(false);
  qxLogObject(LT_Error, nullptr, nullptr, "qxNetweft") << "early " << 5;
  qxLog::editPtr()->enableErrors(true);
  qxLogObject(LT_Detail, "http", nullptr, nullptr) << "detail";
  qxLogObject(LT_Dropped, nullptr, nullptr, nullptr) << "dropped";
  const vector<string> writes = capture.takeWrites();
  ASSERT_EQ(writes.size(), 2U);
  EXPECT_THAT(writes[0], testing::HasSubstr(" ERROR [qxNetweft] "));
  EXPECT_THAT(writes[0], EndsWith(" early 5\n"));
  EXPECT_THAT(writes[1], EndsWith(" detail\n"));
  EXPECT_THAT(log.getLines(), IsEmpty());
}

TEST(qxLogObject, LeavesTheErrorNumberOfTheSystemAlone) {
  test::StderrCapture capture;
  errno = ENOENT;
  LogError() << "text " << 5;
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(capture.takeWrites().size(), 1U);
}

TEST(qxLogObject, WithoutMemoryTheLineIsLostAndItsCallerIsNot) {
  class NullSink final : public qxLogSink {
    void write(const qxLogLine&) noexcept override {}
  } sink;
  qxLog::editPtr()->setSink(&sink);
  const string text(10000, 'x');
  for (size_t allowed = 0; allowed < 8; ++allowed) {
    const test::AllocationLimit limit(allowed);
    LogError() << text << 5 << text;
  }
  qxLog::editPtr()->setSink(nullptr);
  test::StderrCapture capture;
  for (size_t allowed = 0; allowed < 8; ++allowed) {
    const test::AllocationLimit limit(allowed);
    LogError() << text;
  }
}

TEST(CutForLog, ShortTextStaysAsItIs) {
  EXPECT_EQ(CutForLog(""), "");
  EXPECT_EQ(CutForLog(string(4096, 'x')), string(4096, 'x'));
}

TEST(CutForLog, LongTextIsCutAndMarked) {
  EXPECT_EQ(CutForLog(string(4097, 'x')), string(4096, 'x') + " [cut, 4097 bytes in all]");
}

TEST(CutForLog, CutDoesNotTearACharacter) {
  const string euro = "\xE2\x82\xAC";
  for (size_t before : {4093U, 4094U, 4095U, 4096U}) {
    const string cut = CutForLog(string(before, 'x') + euro + string(10, 'y'));
    const string kept = string(before, 'x') + (before == 4093 ? euro : "");
    EXPECT_EQ(cut.substr(0, cut.find(" [cut")), kept);
  }
}

}  // namespace
}  // namespace qx
