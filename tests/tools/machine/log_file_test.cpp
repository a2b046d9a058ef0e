#include "korvelctl/machine/log_file.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "base/files.h"
#include "base/win.h"
#include "runtime/log.h"
#include "support/temp_folder.h"

namespace korvel::ctl {
namespace {

constexpr uint64_t kEvenEmpty = 0;

class LogFile : public testing::Test {
 protected:
  uint32_t rotate(uint64_t maxBytes, uint32_t keep) { return rotateLog(log_, maxBytes, keep, result_); }

  test::TempFolder temp_;
  const std::wstring log_ = temp_.at(L"korvel.log");
  Rotation result_;
};

TEST_F(LogFile, TheLastLinesAreRead) {
  test::writeFile(log_, "one\ntwo\nthree\n");
  LogReader reader(log_);
  std::string text;
  EXPECT_EQ(reader.readLast(2, text), 0u);
  EXPECT_EQ(text, "two\nthree\n");
  EXPECT_EQ(reader.size(), 14u);
}

TEST_F(LogFile, TheLastLinesAreReadFromALogOfManyPieces) {
  std::string bytes;
  for (int i = 0; i < 50'000; ++i) bytes += "line " + std::to_string(i) + "\n";
  test::writeFile(log_, bytes);
  LogReader reader(log_);
  std::string text;
  EXPECT_EQ(reader.readLast(20'000, text), 0u);
  EXPECT_TRUE(text.starts_with("line 30000\n"));
  EXPECT_TRUE(text.ends_with("line 49999\n"));
  EXPECT_EQ(reader.readLast(1'000'000, text), 0u);
  EXPECT_EQ(text, bytes);
}

TEST_F(LogFile, WhatIsWrittenLaterFollows) {
  test::writeFile(log_, "one\n");
  LogReader reader(log_);
  std::string text;
  EXPECT_EQ(reader.readLast(1, text), 0u);
  EXPECT_EQ(reader.readNew(text), 0u);
  EXPECT_EQ(text, "");
  Log::instance().open(log_);
  Log::instance().write(kLogInfo, "later");
  EXPECT_EQ(reader.readNew(text), 0u);
  EXPECT_TRUE(text.ends_with(" [INF] later\n"));
  Log::instance().open(temp_.at(L"other.log"));
}

TEST_F(LogFile, ALogThatWasEmptiedIsReadFromItsBeginning) {
  test::writeFile(log_, "a long line of the old log\n");
  LogReader reader(log_);
  std::string text;
  EXPECT_EQ(reader.readLast(1, text), 0u);
  const UniqueHandle file(::CreateFileW(log_.c_str(), GENERIC_WRITE,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                        OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(::SetEndOfFile(file.get()));
  ASSERT_TRUE(writeAll(file.get(), "new\n"));
  EXPECT_EQ(reader.readNew(text), 0u);
  EXPECT_EQ(text, "new\n");
}

TEST_F(LogFile, AMissingLogGivesItsCodeAndIsReadWhenItIsThere) {
  LogReader reader(log_);
  std::string text;
  EXPECT_EQ(reader.readLast(5, text), static_cast<uint32_t>(ERROR_FILE_NOT_FOUND));
  test::writeFile(log_, "first\n");
  EXPECT_EQ(reader.readNew(text), 0u);
  EXPECT_EQ(text, "first\n");
}

TEST_F(LogFile, ASmallOrMissingLogIsNotRotated) {
  EXPECT_EQ(rotate(kEvenEmpty, 5), 0u);
  EXPECT_FALSE(result_.rotated);
  test::writeFile(log_, "12345");
  EXPECT_EQ(rotate(5, 5), 0u);
  EXPECT_FALSE(result_.rotated);
  EXPECT_EQ(result_.bytes, 5u);
  EXPECT_EQ(rotate(4, 5), 0u);
  EXPECT_TRUE(result_.rotated);
}

TEST_F(LogFile, ARotationKeepsSoManyPartsAndNoMore) {
  for (int i = 1; i <= 4; ++i) {
    test::writeFile(log_, "log " + std::to_string(i));
    ASSERT_EQ(rotate(kEvenEmpty, 3), 0u);
    EXPECT_EQ(result_.keptAs, log_ + L".1");
    EXPECT_EQ(test::readFile(log_), "");
  }
  EXPECT_EQ(test::readFile(log_ + L".1"), "log 4");
  EXPECT_EQ(test::readFile(log_ + L".2"), "log 3");
  EXPECT_EQ(test::readFile(log_ + L".3"), "log 2");
  EXPECT_FALSE(pathExists(log_ + L".4"));
  EXPECT_FALSE(pathExists(log_ + L".rotating"));
}

TEST_F(LogFile, PartsBeyondASmallerNumberAreRemoved) {
  for (const wchar_t* part : {L".1", L".2", L".3"}) test::writeFile(log_ + part, "old");
  test::writeFile(log_, "new");
  EXPECT_EQ(rotate(kEvenEmpty, 1), 0u);
  EXPECT_EQ(test::readFile(log_ + L".1"), "new");
  EXPECT_FALSE(pathExists(log_ + L".2"));
  EXPECT_FALSE(pathExists(log_ + L".3"));
}

TEST_F(LogFile, TheServiceGoesOnWritingIntoTheEmptiedLog) {
  Log::instance().open(log_);
  Log::instance().write(kLogInfo, "before");
  EXPECT_EQ(rotate(kEvenEmpty, 5), 0u);
  Log::instance().write(kLogInfo, "after");
  EXPECT_NE(test::readFile(log_ + L".1").find("before\n"), std::string::npos);
  const std::string now = test::readFile(log_);
  EXPECT_TRUE(now.ends_with(" [INF] after\n")) << now;
  EXPECT_EQ(now.find('\0'), std::string::npos) << "no gap where the old text was";
  EXPECT_EQ(now.find("before"), std::string::npos);
  Log::instance().open(temp_.at(L"other.log"));
}

TEST_F(LogFile, HardlyALineIsLostWhileTheServiceWrites) {
  Log::instance().open(log_);
  std::atomic<bool> stop{false};
  int written = 0;
  std::thread service([&] {
    while (!stop) {
      Log::instance().write(kLogInfo, "line " + std::to_string(written++));
      if (written % 16 == 0) ::Sleep(1);
    }
  });
  constexpr uint32_t kRotations = 8;
  for (uint32_t i = 0; i < kRotations; ++i) {
    ::Sleep(20);
    EXPECT_EQ(rotate(kEvenEmpty, kRotations), 0u);
  }
  stop = true;
  service.join();
  Log::instance().open(temp_.at(L"other.log"));
  std::string all;
  for (uint32_t part = kRotations; part > 0; --part) {
    const std::wstring path = log_ + L"." + std::to_wstring(part);
    if (pathExists(path)) all += test::readFile(path);
  }
  all += test::readFile(log_);
  const auto lines = std::count(all.begin(), all.end(), '\n');
  // A line may fall into the moment before the emptying of each rotation, and a busy machine makes it longer.
  EXPECT_GE(lines, written - static_cast<int>(kRotations) * 16);
  EXPECT_LE(lines, written);
}

TEST_F(LogFile, AFailureLeavesTheLogWhole) {
  test::writeFile(log_, "precious");
  ASSERT_TRUE(createDirectories(log_ + L".1\\something"));  // cannot be replaced by a file
  EXPECT_NE(rotate(kEvenEmpty, 1), 0u);
  EXPECT_FALSE(result_.rotated);
  EXPECT_EQ(result_.failedAt, log_ + L".1");
  EXPECT_EQ(test::readFile(log_), "precious");
}

}  // namespace
}  // namespace korvel::ctl
