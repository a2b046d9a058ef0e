// A process that is ended at any moment leaves whole files: the settings and the quarantine index are the old
// or the new text, and every byte of a user's file is still at one of its two places.
//
// Each test starts kill_helper.exe 200 times (or as often as KORVEL_KILLS says), ends it at a random moment
// and looks at what it left.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "base/files.h"
#include "base/paths.h"
#include "base/utf.h"
#include "config/settings_file.h"
#include "config/settings_text.h"
#include "remedy/kill_plan.h"
#include "remedy/quarantine_index.h"
#include "support/restarts.h"
#include "support/temp_folder.h"

namespace korvel::test {
namespace {

constexpr DWORD kStartMs = 60'000;
constexpr double kFirstSpanMs = 20;
constexpr double kLongestSpanMs = 500;

int killsWanted() {
  const char* kills = std::getenv("KORVEL_KILLS");
  return kills != nullptr ? std::atoi(kills) : 200;
}

std::wstring ownName(const wchar_t* purpose) {
  return L"korvel-kill-" + std::to_wstring(::GetCurrentProcessId()) + L"-" + purpose;
}

std::wstring helperPath() {
  wchar_t executable[1024] = {};
  DWORD length = static_cast<DWORD>(std::size(executable));
  (void)::QueryFullProcessImageNameW(::GetCurrentProcess(), /*flags=*/0, executable, &length);
  return parentDirectory(executable) + L"\\kill_helper.exe";
}

/// Waits busily in the last part, because Sleep() is coarser than one file operation.
void waitMs(double milliseconds) {
  constexpr double kBusyMs = 2;
  LARGE_INTEGER frequency{};
  LARGE_INTEGER start{};
  LARGE_INTEGER now{};
  ::QueryPerformanceFrequency(&frequency);
  ::QueryPerformanceCounter(&start);
  if (milliseconds > kBusyMs) ::Sleep(static_cast<DWORD>(milliseconds - kBusyMs));
  do {
    ::QueryPerformanceCounter(&now);
  } while (static_cast<double>(now.QuadPart - start.QuadPart) * 1000 /
               static_cast<double>(frequency.QuadPart) <
           milliseconds);
}

class KillTest : public testing::Test {
 protected:
  /// Starts the helper and ends it after a random time, which adapts itself so that most kills come while the
  /// helper is at work.
  void runAndKill(const wchar_t* operation) {
    ::ResetEvent(ready_.get());
    ::ResetEvent(finished_.get());
    std::wstring command = L"\"" + helperPath() + L"\" " + operation + L" \"" + folder_.path() + L"\" " +
                           ownName(L"ready") + L" " + ownName(L"finished");
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    // The test platform now and then fails to start a process that follows so closely on the end of another.
    const auto create = [&] {
      return ::CreateProcessW(helperPath().c_str(), command.data(), nullptr, nullptr, /*inherit=*/FALSE, 0,
                              nullptr, folder_.path().c_str(), &startup, &started) != FALSE;
    };
    if (!create()) {
      ASSERT_TRUE(mayRestart(toUtf8(helperPath())));
      ::Sleep(1'000);
      ASSERT_TRUE(create()) << ::GetLastError();
    }
    const UniqueHandle process(started.hProcess);
    const UniqueHandle thread(started.hThread);
    const HANDLE either[] = {ready_.get(), process.get()};
    ASSERT_EQ(::WaitForMultipleObjects(2, either, /*all=*/FALSE, kStartMs), WAIT_OBJECT_0);

    waitMs(std::uniform_real_distribution<double>(0, spanMs_)(random_));
    ASSERT_TRUE(::TerminateProcess(process.get(), 1));
    ASSERT_EQ(::WaitForSingleObject(process.get(), kStartMs), WAIT_OBJECT_0);
    const bool finished = ::WaitForSingleObject(finished_.get(), 0) == WAIT_OBJECT_0;
    spanMs_ = std::min(kLongestSpanMs, spanMs_ * (finished ? 0.9 : 1.1));
    if (!finished) ++interrupted_;
  }

  // --- quarantine ---

  std::wstring storedPath(int number) const {
    return quarantineIn(folder_.path()) + L"\\7_0123456789abcdef_" + numberedName(number);
  }
  std::wstring indexPath() const { return quarantineIn(folder_.path()) + L"\\quarantine.db"; }
  static std::string content(int number) {
    return std::string(static_cast<size_t>(number) * 9000 + 5, static_cast<char>('a' + number));
  }

  void layOutUserFiles() {
    removeTree(quarantineIn(folder_.path()));
    writeFile(indexPath(), formatQuarantineIndex({}));
    for (int i = 0; i < kFileCount; ++i) writeFile(userFileIn(folder_.path(), i), content(i));
  }

  void layOutStoredFiles() {
    layOutUserFiles();
    std::vector<QuarantineRecord> records;
    for (int i = 0; i < kFileCount; ++i) {
      QuarantineRecord record;
      record.id = static_cast<uint64_t>(i) + 1;
      record.name = numberedName(i);
      record.originalPath = userFileIn(folder_.path(), i);
      record.storedPath = storedPath(i);
      ASSERT_TRUE(
          ::MoveFileExW(record.originalPath.c_str(), record.storedPath.c_str(), MOVEFILE_REPLACE_EXISTING));
      records.push_back(record);
    }
    writeFile(indexPath(), formatQuarantineIndex(records));
  }

  /// The index, which must be exactly what the writer writes: header, whole blocks, nothing after them.
  std::vector<QuarantineRecord> wholeIndex() {
    const std::string text = readFile(indexPath());
    std::vector<QuarantineRecord> records = parseQuarantineIndex(text);
    EXPECT_EQ(formatQuarantineIndex(records), text);
    return records;
  }

  /// Where the stored file of a number lies, whatever the second in its name; nothing when it is not there.
  std::optional<std::wstring> findStored(int number) const {
    WIN32_FIND_DATAW entry{};
    const std::wstring pattern =
        quarantineIn(folder_.path()) + L"\\*_0123456789abcdef_" + numberedName(number);
    const UniqueFindHandle find(::FindFirstFileW(pattern.c_str(), &entry));
    if (!find) return std::nullopt;
    return quarantineIn(folder_.path()) + L"\\" + entry.cFileName;
  }

  /// The file is whole at exactly one of its two places.
  void expectFileIsSomewhere(int number) {
    const std::wstring original = userFileIn(folder_.path(), number);
    const std::optional<std::wstring> stored = findStored(number);
    ASSERT_NE(pathExists(original), stored.has_value()) << number;
    EXPECT_TRUE(readFile(stored ? *stored : original) == content(number)) << number;
  }

  void TearDown() override {
    RecordProperty("interrupted", interrupted_);
    if (HasFailure()) return;
    // With fewer interruptions the test would show nothing.
    EXPECT_GT(interrupted_, kills_ / 4);
  }

  TempFolder folder_;
  const UniqueHandle ready_{::CreateEventW(nullptr, TRUE, FALSE, ownName(L"ready").c_str())};
  const UniqueHandle finished_{::CreateEventW(nullptr, TRUE, FALSE, ownName(L"finished").c_str())};
  std::mt19937 random_{20'241'115};  // the moments still differ: no two runs have the same speed
  const int kills_ = killsWanted();
  double spanMs_ = kFirstSpanMs;
  int interrupted_ = 0;
};

TEST_F(KillTest, SettingsAreTheOldOrTheNewText) {
  ASSERT_TRUE(writeSettingsFile(settingsVersion(0), settingsIn(folder_.path())));
  uint64_t newest = 0;
  for (int kill = 0; kill < kills_; ++kill) {
    spanMs_ = kFirstSpanMs;
    ASSERT_NO_FATAL_FAILURE(runAndKill(kSaveSettings));
    Settings settings;
    ASSERT_TRUE(readSettingsFile(settings, settingsIn(folder_.path())));
    ASSERT_EQ(readFile(settingsIn(folder_.path())),
              formatSettingsText(settingsVersion(settings.lastScanUtc)));
    newest = std::max(newest, settings.lastScanUtc);
  }
  EXPECT_GT(newest, 1u);
}

TEST_F(KillTest, AddingLosesNoFileAndNoRecord) {
  for (int kill = 0; kill < kills_; ++kill) {
    ASSERT_NO_FATAL_FAILURE(layOutUserFiles());
    ASSERT_NO_FATAL_FAILURE(runAndKill(kAddFiles));
    const std::vector<QuarantineRecord> records = wholeIndex();
    int stored = 0;
    for (int i = 0; i < kFileCount; ++i) {
      ASSERT_NO_FATAL_FAILURE(expectFileIsSomewhere(i));
      stored += findStored(i) ? 1 : 0;
    }
    // A file moves before the index is written, so one file may lack its record, but no record its file.
    EXPECT_TRUE(static_cast<int>(records.size()) == stored || static_cast<int>(records.size()) == stored - 1);
    for (const QuarantineRecord& record : records) EXPECT_TRUE(pathExists(record.storedPath));
    ASSERT_FALSE(HasFailure()) << "kill " << kill;
  }
}

TEST_F(KillTest, RestoringLosesNoFileAndNoRecord) {
  for (int kill = 0; kill < kills_; ++kill) {
    ASSERT_NO_FATAL_FAILURE(layOutStoredFiles());
    ASSERT_NO_FATAL_FAILURE(runAndKill(kRestoreRecords));
    const std::vector<QuarantineRecord> records = wholeIndex();
    int stored = 0;
    for (int i = 0; i < kFileCount; ++i) {
      ASSERT_NO_FATAL_FAILURE(expectFileIsSomewhere(i));
      stored += findStored(i) ? 1 : 0;
    }
    // Every file still stored has its record; one that is back may have it too.
    EXPECT_TRUE(static_cast<int>(records.size()) == stored || static_cast<int>(records.size()) == stored + 1);
    ASSERT_FALSE(HasFailure()) << "kill " << kill;
  }
}

TEST_F(KillTest, DeletingLosesNoOtherFileAndNoRecord) {
  for (int kill = 0; kill < kills_; ++kill) {
    ASSERT_NO_FATAL_FAILURE(layOutStoredFiles());
    ASSERT_NO_FATAL_FAILURE(runAndKill(kDeleteRecords));
    const std::vector<QuarantineRecord> records = wholeIndex();
    int stored = 0;
    for (int i = 0; i < kFileCount; ++i) {
      const std::optional<std::wstring> path = findStored(i);
      if (!path) continue;
      EXPECT_TRUE(readFile(*path) == content(i)) << i;
      ++stored;
    }
    EXPECT_TRUE(static_cast<int>(records.size()) == stored || static_cast<int>(records.size()) == stored + 1);
    ASSERT_FALSE(HasFailure()) << "kill " << kill;
  }
}

}  // namespace
}  // namespace korvel::test
