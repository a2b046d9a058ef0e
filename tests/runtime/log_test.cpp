#include "runtime/log.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <map>
#include <thread>
#include <vector>

#include "base/files.h"
#include "base/text.h"
#include "support/debugger_echo.h"
#include "support/temp_folder.h"

namespace korvel {
namespace {

using test::DebuggerEcho;
using test::readFile;
using test::TempFolder;

constexpr size_t kStampLength = 19;  // "14:03:07.042 [INF] "
constexpr size_t kLongestLine = 2047;

class LogTest : public testing::Test {
 protected:
  void SetUp() override { log_.open(path_); }
  void TearDown() override { close(); }

  /// A directory cannot be opened as a file, so this only closes.
  void close() { log_.open(folder_.path()); }

  std::string text() const { return readFile(path_); }
  /// The line without its time.
  static std::string untimed(std::string_view line) { return std::string(line.substr(13)); }

  TempFolder folder_;
  const std::wstring path_ = folder_.at(L"журналы\\korvel.log");
  Log& log_ = Log::instance();
};

TEST_F(LogTest, WritesTimeTagAndTextAndOneLineFeed) {
  SYSTEMTIME before{};
  SYSTEMTIME after{};
  ::GetLocalTime(&before);
  log_.write(kLogInfo, "engine: started");
  ::GetLocalTime(&after);
  const std::string line = text();
  ASSERT_EQ(line.size(), kStampLength + 16);
  EXPECT_EQ(line.substr(12), " [INF] engine: started\n");

  int hour = -1, minute = -1, second = -1, millisecond = -1, used = 0;
  ASSERT_EQ(std::sscanf(line.c_str(), "%2d:%2d:%2d.%3d%n", &hour, &minute, &second, &millisecond, &used), 4);
  EXPECT_EQ(used, 12);
  const auto ms = [](int h, int m, int s, int t) { return ((h * 60 + m) * 60 + s) * 1000 + t; };
  const int from = ms(before.wHour, before.wMinute, before.wSecond, before.wMilliseconds);
  const int to = ms(after.wHour, after.wMinute, after.wSecond, after.wMilliseconds);
  const int at = ms(hour, minute, second, millisecond);
  if (from <= to) {
    EXPECT_TRUE(from <= at && at <= to) << line;
  } else {
    EXPECT_TRUE(from <= at || at <= to) << line;  // midnight in between
  }
}

TEST_F(LogTest, NamesTheFourLevelsAndNoOther) {
  for (const int32_t level : {int32_t{kLogInfo}, int32_t{kLogWarning}, int32_t{kLogError}, 4, 7, INT32_MAX}) {
    log_.write(level, "x");
  }
  std::string tags;
  const std::string all = text();
  LineReader lines(all);
  for (std::string_view line; lines.next(line);) tags += untimed(line) + '\n';
  EXPECT_EQ(tags, "[INF] x\n[WRN] x\n[ERR] x\n[???] x\n[???] x\n[???] x\n");
}

TEST_F(LogTest, DropsDebugLinesAndEverythingBelow) {
  const DebuggerEcho echo;
  log_.write(kLogDebug, "x");
  log_.write(-1, "x");
  log_.write(INT32_MIN, "x");
  EXPECT_EQ(text(), "");
  EXPECT_EQ(echo.text(), "");
}

TEST_F(LogTest, EchoesEveryLineToTheDebugger) {
  const DebuggerEcho echo;
  log_.write(kLogInfo, "first");
  log_.write(7, "второй");
  EXPECT_EQ(echo.text(), text());
}

TEST_F(LogTest, EachLineIsInTheFileAtOnce) {
  log_.write(kLogInfo, "a");
  EXPECT_TRUE(text().ends_with(" [INF] a\n"));
  log_.write(kLogInfo, "b");
  EXPECT_TRUE(text().ends_with(" [INF] b\n"));
}

TEST_F(LogTest, WritesTextUnchanged) {
  log_.write(kLogInfo, "путь C:\\Загрузки %s %n %d\r\nsecond line\ttab");
  EXPECT_TRUE(text().ends_with(" [INF] путь C:\\Загрузки %s %n %d\r\nsecond line\ttab\n"));
}

TEST_F(LogTest, AnEmptyTextIsALineToo) {
  log_.write(kLogInfo, "");
  EXPECT_EQ(untimed(text()), "[INF] \n");
}

TEST_F(LogTest, TheLongestWholeLineHas2047Bytes) {
  const std::string fits(kLongestLine - kStampLength - 1, 'x');
  log_.write(kLogInfo, fits);
  const std::string line = text();
  EXPECT_EQ(line.size(), kLongestLine);
  EXPECT_EQ(untimed(line), "[INF] " + fits + "\n");
}

TEST_F(LogTest, OneByteMoreCostsTheLineFeed) {
  const std::string tooLong(kLongestLine - kStampLength, 'x');
  log_.write(kLogInfo, tooLong);
  const std::string line = text();
  EXPECT_EQ(line.size(), kLongestLine);
  EXPECT_EQ(untimed(line), "[INF] " + tooLong);
}

TEST_F(LogTest, CutsALongTextAndTheNextLineContinuesIt) {
  const DebuggerEcho echo;
  log_.write(kLogInfo, std::string(3000, 'x'));
  EXPECT_EQ(text().size(), kLongestLine);
  EXPECT_EQ(text().find('\n'), std::string::npos);
  EXPECT_EQ(echo.text(), text());
  log_.write(kLogInfo, "next");
  EXPECT_EQ(untimed(text().substr(kLongestLine)), "[INF] next\n");
}

TEST_F(LogTest, CutsInTheMiddleOfACharacterToo) {
  const DebuggerEcho echo;
  std::string longText;
  while (longText.size() < 3000) longText += "ы";  // two bytes each; the stamp takes an odd number
  log_.write(kLogInfo, "x" + longText);
  EXPECT_EQ(untimed(text()), "[INF] x" + longText.substr(0, kLongestLine - kStampLength - 1));
  EXPECT_EQ(text().back(), "ы"[0]);
  EXPECT_EQ(echo.text(), text());
}

TEST_F(LogTest, AppendsToWhatIsThere) {
  close();
  test::writeFile(path_, "earlier\n");
  log_.open(path_);
  log_.write(kLogInfo, "x");
  EXPECT_TRUE(text().starts_with("earlier\n"));
  EXPECT_EQ(untimed(text().substr(8)), "[INF] x\n");
}

TEST_F(LogTest, StaysOneFileHoweverLargeItGrows) {
  close();
  test::writeFile(path_, std::string(32 << 20, '\n'));
  log_.open(path_);
  log_.write(kLogInfo, "x");
  EXPECT_EQ(text().size(), (32u << 20) + kStampLength + 2);
  WIN32_FIND_DATAW found{};
  const HANDLE listing = ::FindFirstFileW(folder_.at(L"журналы\\*").c_str(), &found);
  ASSERT_NE(listing, INVALID_HANDLE_VALUE);
  int files = 0;
  do {
    if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) ++files;
  } while (::FindNextFileW(listing, &found));
  ::FindClose(listing);
  EXPECT_EQ(files, 1);
}

TEST_F(LogTest, NeverWritesAByteOrderMark) {
  EXPECT_EQ(text(), "");  // a new file
  log_.open(path_);       // an empty one
  EXPECT_EQ(text(), "");
  log_.write(kLogInfo, "x");
  EXPECT_EQ(untimed(text()), "[INF] x\n");
}

TEST_F(LogTest, MakesTheFoldersOfItsFile) {
  log_.open(folder_.at(L"a/b\\c//korvel.log"));
  log_.write(kLogInfo, "x");
  close();
  EXPECT_EQ(untimed(readFile(folder_.at(L"a\\b\\c\\korvel.log"))), "[INF] x\n");
}

TEST_F(LogTest, GoesOnEchoingWhenTheFileCannotBeOpened) {
  const DebuggerEcho echo;
  close();
  log_.write(kLogError, "nowhere");
  EXPECT_EQ(untimed(echo.text()), "[ERR] nowhere\n");
  EXPECT_EQ(text(), "");
  log_.open(path_);
  log_.write(kLogInfo, "back");
  EXPECT_EQ(untimed(text()), "[INF] back\n");
}

TEST_F(LogTest, AFileThatIsHeldOrHasNoFolderCannotBeOpenedAndTheEchoGoesOn) {
  close();
  const UniqueHandle held(::CreateFileW(path_.c_str(), GENERIC_READ, /*share=*/0, nullptr, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
  ASSERT_TRUE(held);
  const std::wstring file = folder_.write(L"file", "x");
  for (const std::wstring& path : {path_, file + L"\\korvel.log", std::wstring()}) {
    const DebuggerEcho echo;
    log_.open(path);
    log_.write(kLogWarning, "nowhere");
    EXPECT_EQ(untimed(echo.text()), "[WRN] nowhere\n");
  }
  EXPECT_EQ(readFile(file), "x");
}

// An open file keeps its folder from going away; what else is in there does go.
TEST_F(LogTest, GoesOnWhenItsFolderIsDeletedMeanwhile) {
  const std::wstring beside = folder_.write(L"журналы\\settings.ini", "x");
  log_.write(kLogInfo, "before");
  test::removeTree(folder_.at(L"журналы"));
  EXPECT_FALSE(pathExists(beside));
  const DebuggerEcho echo;
  log_.write(kLogInfo, "after");
  EXPECT_EQ(untimed(echo.text()), "[INF] after\n");
  log_.open(path_);
  log_.write(kLogInfo, "reopened");
  EXPECT_TRUE(text().ends_with("[INF] reopened\n"));
}

TEST_F(LogTest, ReopeningMakesADeletedFolderAgain) {
  log_.write(kLogInfo, "before");
  close();
  test::removeTree(folder_.at(L"журналы"));
  ASSERT_FALSE(pathExists(path_));
  log_.open(path_);
  log_.write(kLogInfo, "after");
  EXPECT_EQ(untimed(text()), "[INF] after\n");
}

TEST_F(LogTest, OtherProcessesMayReadAndWriteTheFile) {
  const UniqueHandle other(::CreateFileW(path_.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                         nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  ASSERT_TRUE(other);
  log_.write(kLogInfo, "a");
  ASSERT_TRUE(writeAll(other.get(), "crash: x\n"));
  log_.write(kLogInfo, "b");
  const std::string all = text();
  EXPECT_EQ(untimed(all.substr(0, 21)), "[INF] a\n");
  EXPECT_EQ(all.substr(21, 9), "crash: x\n");
  EXPECT_EQ(untimed(all.substr(30)), "[INF] b\n");
}

TEST_F(LogTest, ReopeningWhileOthersWriteLosesAndDuplicatesNothing) {
  constexpr int kThreads = 4;
  constexpr int kLinesEach = 400;
  std::atomic<int> writing{kThreads};
  std::vector<std::thread> writers;
  for (int t = 0; t < kThreads; ++t) {
    writers.emplace_back([&, t] {
      for (int i = 0; i < kLinesEach; ++i) log_.write(kLogInfo, std::to_string(t) + "-" + std::to_string(i));
      --writing;
    });
  }
  while (writing > 0) log_.open(path_);
  for (std::thread& writer : writers) writer.join();

  std::map<std::string, int> seen;
  const std::string all = text();
  LineReader lines(all);
  for (std::string_view line; lines.next(line);) {
    ASSERT_GT(line.size(), kStampLength) << line;
    seen[std::string(line.substr(kStampLength))] += 1;
  }
  EXPECT_EQ(seen.size(), static_cast<size_t>(kThreads * kLinesEach));
  for (int t = 0; t < kThreads; ++t) {
    for (int i = 0; i < kLinesEach; ++i) {
      const std::string name = std::to_string(t) + "-" + std::to_string(i);
      EXPECT_EQ(seen[name], 1) << name;
    }
  }
}

TEST_F(LogTest, ServiceLinesBeginWithTheProductsName) {
  serviceLog("stop requested");
  EXPECT_EQ(untimed(text()), "[INF] KORVEL Antivirus: stop requested\n");
}

TEST_F(LogTest, LiesUnderItsOwnNameWhateverThatIs) {
  for (const wchar_t* name : {L"evil.\\nul.log", L"x\\..\\con"}) {
    log_.open(folder_.at(name));
    log_.write(kLogInfo, "engine: started");
    EXPECT_TRUE(readFile(folder_.at(name)).ends_with("engine: started\n"));
  }
}

}  // namespace
}  // namespace korvel
