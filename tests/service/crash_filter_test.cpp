// The crash filter in real processes: crash_child.exe crashes, and the test reads its log.
#include "service/crash_filter.h"

#include <gtest/gtest.h>

#include "base/files.h"
#include "base/paths.h"
#include "base/text.h"
#include "e2e/child_process.h"
#include "support/temp_folder.h"

namespace korvel {
namespace {

constexpr DWORD kHandled = 1;  // EXCEPTION_EXECUTE_HANDLER
constexpr DWORD kAccessViolation = 0xC0000005;
constexpr DWORD kStackOverflow = 0xC00000FD;
constexpr DWORD kDidNotCrash = 99;  // of crash_child
// An exception that nobody catches reaches the filter as itself, or through the terminate handler.
constexpr DWORD kUncaughtOfGcc = 0x20474343;
constexpr DWORD kUncaughtByTerminate = 0xE06D7363;

std::wstring crashChild() {
  wchar_t executable[MAX_PATH + 1] = {};
  ::GetModuleFileNameW(/*module=*/nullptr, executable, MAX_PATH);
  return joinPath(parentDirectory(executable), L"crash_child.exe");
}

class CrashFilter : public testing::Test {
 protected:
  test::Finished run(const std::wstring& way) {
    test::Finished finished = test::runToEnd(crashChild(), L"\"" + log_ + L"\" " + way);
    // Its first line is the number of the crashing thread, where there is one.
    LineReader lines(finished.output);
    std::string_view line;
    thread_ = lines.next(line) ? std::string(line) : "";
    if (thread_.ends_with('\r')) thread_.pop_back();
    return finished;
  }
  /// The line of a crash anywhere in the code: the address is whatever it is, in 16 upper-case digits.
  void expectOneCrashLine(const std::string& code) const {
    std::string text = test::readFile(log_);
    const std::string before = "crash: UNHANDLED EXCEPTION code=0x" + code + " address=";
    ASSERT_TRUE(text.starts_with(before)) << text;
    const std::string address = text.substr(before.size(), 16);
    EXPECT_EQ(address.find_first_not_of("0123456789ABCDEF"), std::string::npos) << text;
    EXPECT_EQ(text.substr(before.size() + 16), " thread=" + thread_ + "\n");
  }

  void expectUncaughtException(const std::wstring& way) {
    const DWORD exitCode = run(way).exitCode;
    EXPECT_TRUE(exitCode == kUncaughtOfGcc || exitCode == kUncaughtByTerminate) << exitCode;
    expectOneCrashLine(exitCode == kUncaughtOfGcc ? "20474343" : "E06D7363");
  }

  test::TempFolder folder_;
  std::wstring log_ = folder_.at(L"журнал.log");
  std::string thread_;
};

TEST_F(CrashFilter, WritesTheLineToTheByte) {
  EXPECT_EQ(run(L"filter C0000005 7FF6ABCDEF01").exitCode, kHandled);
  EXPECT_EQ(test::readFile(log_),
            "crash: UNHANDLED EXCEPTION code=0xC0000005 address=00007FF6ABCDEF01 thread=" + thread_ + "\n");
}

TEST_F(CrashFilter, FillsCodeAndAddressWithZeros) {
  EXPECT_EQ(run(L"filter a 0").exitCode, kHandled);
  EXPECT_EQ(test::readFile(log_),
            "crash: UNHANDLED EXCEPTION code=0x0000000A address=0000000000000000 thread=" + thread_ + "\n");
}

TEST_F(CrashFilter, NamesTheThreadThatItRunsOn) {
  EXPECT_EQ(run(L"filter-on-thread FFFFFFFF FFFFFFFFFFFFFFFF").exitCode, kHandled);
  EXPECT_EQ(test::readFile(log_),
            "crash: UNHANDLED EXCEPTION code=0xFFFFFFFF address=FFFFFFFFFFFFFFFF thread=" + thread_ + "\n");
}

TEST_F(CrashFilter, TellsTheDebuggerTheTextAlone) {
  const std::string text = run(L"filter C0000005 1").output;
  EXPECT_NE(
      text.find("\nUNHANDLED EXCEPTION code=0xC0000005 address=0000000000000001 thread=" + thread_ + "\r\n"),
      std::string::npos)
      << text;
  EXPECT_EQ(text.find("crash: "), std::string::npos);
}

TEST_F(CrashFilter, WritesToALogUnderAnyName) {
  log_ = folder_.write(L"evil.\\nul.log", "");
  EXPECT_EQ(run(L"filter C0000005 1").exitCode, kHandled);
  EXPECT_TRUE(test::readFile(log_).starts_with("crash: UNHANDLED EXCEPTION code=0xC0000005 "));
}

TEST_F(CrashFilter, AppendsToWhatTheLogHolds) {
  test::writeFile(log_, "14:03:07.042 [INF] cut line");
  EXPECT_EQ(run(L"filter 1 2").exitCode, kHandled);
  EXPECT_EQ(test::readFile(log_),
            "14:03:07.042 [INF] cut linecrash: UNHANDLED EXCEPTION code=0x00000001 "
            "address=0000000000000002 thread=" +
                thread_ + "\n");
}

TEST_F(CrashFilter, DoesNothingWithoutARecord) {
  for (const wchar_t* way : {L"filter-without-pointers", L"filter-without-record"}) {
    EXPECT_EQ(run(way).exitCode, kHandled);
    EXPECT_EQ(test::readFile(log_), "");
  }
}

TEST_F(CrashFilter, OpensTheFileAgainWhereThatFailedAtTheStart) {
  log_ = folder_.at(L"later\\korvel.log");
  EXPECT_EQ(run(L"filter-twice-once-the-folder-is-there 1 2").exitCode, 2 * kHandled);
  const std::string line =
      "crash: UNHANDLED EXCEPTION code=0x00000001 address=0000000000000002 thread=" + thread_ + "\n";
  EXPECT_EQ(test::readFile(log_), line + line);
}

TEST_F(CrashFilter, WritesNothingWhereTheFileCannotBeOpenedAtAll) {
  log_ = folder_.at(L"never\\korvel.log");
  EXPECT_EQ(run(L"filter 1 2").exitCode, kHandled);
  EXPECT_FALSE(pathExists(folder_.at(L"never")));
}

TEST_F(CrashFilter, HearsOfAnAccessViolation) {
  EXPECT_EQ(run(L"access-violation").exitCode, kAccessViolation);
  expectOneCrashLine("C0000005");
}

TEST_F(CrashFilter, HearsOfAnAccessViolationOnAWorkerThread) {
  EXPECT_EQ(run(L"access-violation-on-thread").exitCode, kAccessViolation);
  expectOneCrashLine("C0000005");
}

TEST_F(CrashFilter, HearsOfAStackOverflow) {
  const DWORD exitCode = run(L"overflow-stack-on-thread").exitCode;
  if (exitCode == kDidNotCrash) GTEST_SKIP() << "this system ends the thread alone and tells nobody";
  EXPECT_EQ(exitCode, kStackOverflow);
  expectOneCrashLine("C00000FD");
}

TEST_F(CrashFilter, HasRoomOnEveryStackThatOverflows) {
  constexpr DWORD kEnough = 32 * 1'024;
  for (const wchar_t* way : {L"kept-stack", L"kept-stack-on-thread"}) {
    const DWORD bytes = run(way).exitCode;
    EXPECT_GE(bytes, kEnough);
    EXPECT_LT(bytes, 1'024u * 1'024) << "the thread needs the rest";
  }
}

TEST_F(CrashFilter, HearsOfAnUncaughtException) { expectUncaughtException(L"throw"); }

TEST_F(CrashFilter, HearsOfAnUncaughtExceptionOnAWorkerThread) {
  expectUncaughtException(L"throw-on-thread");
}

TEST_F(CrashFilter, HearsOfAnExceptionThatMeetsNoexcept) { expectUncaughtException(L"throw-past-noexcept"); }

TEST_F(CrashFilter, DoesNotNeedTheFileForTheProcessToEnd) {
  log_ = folder_.at(L"never\\korvel.log");
  EXPECT_EQ(run(L"access-violation-on-thread").exitCode, kAccessViolation);
  const DWORD uncaught = run(L"throw-on-thread").exitCode;
  EXPECT_TRUE(uncaught == kUncaughtOfGcc || uncaught == kUncaughtByTerminate) << uncaught;
}

}  // namespace
}  // namespace korvel
