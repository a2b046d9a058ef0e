#include "config/settings_file.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include "base/files.h"
#include "config/settings.h"
#include "config/settings_text.h"
#include "support/brief_hold.h"
#include "support/held_moves.h"
#include "support/sparse_file.h"
#include "support/temp_folder.h"

namespace korvel {
namespace {

using test::readFile;
using test::TempFolder;

UniqueHandle hold(const std::wstring& path, DWORD access, DWORD share) {
  return UniqueHandle(
      ::CreateFileW(path.c_str(), access, share, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
}

Settings someSettings() {
  Settings settings;
  settings.scanArchives = true;
  settings.lastScanUtc = 1'731'650'000;
  settings.updateServer = "https://example";
  settings.quarantineDir = L"D:\\Карантин";
  return settings;
}

TEST(SettingsFile, IsReplacedOnceAProgramThatHeldItLetsGo) {
  const TempFolder folder;
  const std::wstring path = folder.write(L"settings.ini", "old");
  const test::BriefHold held(path);
  EXPECT_TRUE(writeSettingsFile(someSettings(), path));
  EXPECT_EQ(readFile(path), formatSettingsText(someSettings()));
}

TEST(SettingsFile, IsWrittenInPlaceWhenAStopEndsTheWaiting) {
  const TempFolder folder;
  const std::wstring path = folder.write(L"settings.ini", "old");
  const test::HeldMoves held;
  EXPECT_TRUE(writeSettingsFile(someSettings(), path, held.stop()));
  EXPECT_EQ(held.tries(), 1);
  EXPECT_EQ(readFile(path), formatSettingsText(someSettings()));
}

TEST(SettingsFile, ReadsWhatItWrote) {
  const TempFolder folder;
  ASSERT_TRUE(writeSettingsFile(someSettings(), folder.at(L"settings.ini")));
  EXPECT_EQ(readFile(folder.at(L"settings.ini")), formatSettingsText(someSettings()));
  Settings settings;
  EXPECT_TRUE(readSettingsFile(settings, folder.at(L"settings.ini")));
  EXPECT_EQ(settings, someSettings());
}

TEST(SettingsFile, AMissingFileIsFalseAndChangesNothing) {
  const TempFolder folder;
  Settings settings = someSettings();
  EXPECT_FALSE(readSettingsFile(settings, folder.at(L"settings.ini")));
  EXPECT_FALSE(readSettingsFile(settings, folder.path()));
  EXPECT_EQ(settings, someSettings());
}

TEST(SettingsFile, ALockedFileIsFalseAndChangesNothing) {
  const TempFolder folder;
  const std::wstring path = folder.write(L"settings.ini", "ScanArchives=0\n");
  const UniqueHandle held = hold(path, GENERIC_READ, /*share=*/0);
  ASSERT_TRUE(held);
  Settings settings = someSettings();
  EXPECT_FALSE(readSettingsFile(settings, path));
  EXPECT_EQ(settings, someSettings());
}

TEST(SettingsFile, AFileOfMoreThan64MiBIsFalseAndChangesNothing) {
  const TempFolder folder;
  Settings settings = someSettings();
  EXPECT_FALSE(readSettingsFile(settings, test::sparseFile(folder.at(L"larger"), (64LL << 20) + 1)));
  EXPECT_FALSE(readSettingsFile(settings, test::sparseFile(folder.at(L"huge"), 8LL << 40)));
  EXPECT_EQ(settings, someSettings());
}

TEST(SettingsFile, AFileOf64MiBIsRead) {
  const TempFolder folder;
  const std::wstring path = test::sparseFile(folder.at(L"settings.ini"), 64LL << 20);
  {
    const UniqueHandle file = hold(path, GENERIC_WRITE, 0);
    ASSERT_TRUE(writeAll(file.get(), "ScanArchives=1\n"));
  }
  Settings settings;
  EXPECT_TRUE(readSettingsFile(settings, path));
  EXPECT_TRUE(settings.scanArchives);
}

TEST(SettingsFile, AnUnreadableFileIsReplacedByTheNextSave) {
  const TempFolder folder;
  const std::wstring path = test::sparseFile(folder.at(L"settings.ini"), 8LL << 40);
  Settings settings;
  ASSERT_FALSE(readSettingsFile(settings, path));
  EXPECT_TRUE(writeSettingsFile(settings, path));
  EXPECT_EQ(readFile(path), formatSettingsText(Settings()));
}

TEST(SettingsFile, AFileThatAnotherProgramHasOpenIsRead) {
  const TempFolder folder;
  const std::wstring path = folder.write(L"settings.ini", "ScanArchives=1\n");
  const UniqueHandle editor = hold(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE);
  ASSERT_TRUE(editor);
  Settings settings;
  EXPECT_TRUE(readSettingsFile(settings, path));
  EXPECT_TRUE(settings.scanArchives);
}

TEST(SettingsFile, AnEmptyFileIsReadAndChangesNothing) {
  const TempFolder folder;
  Settings settings = someSettings();
  EXPECT_TRUE(readSettingsFile(settings, folder.write(L"settings.ini", "")));
  EXPECT_EQ(settings, someSettings());
}

TEST(SettingsFile, ABadHourLeavesTheReader) {
  const TempFolder folder;
  Settings settings;
  EXPECT_THROW(readSettingsFile(settings, folder.write(L"settings.ini", "ScheduledHour=x\n")),
               std::invalid_argument);
  EXPECT_THROW(readSettingsFile(settings, folder.write(L"settings.ini", "ScheduledHour=4294967296\n")),
               std::out_of_range);
}

TEST(SettingsFile, TheNextSaveForgetsCommentsAndUnknownKeys) {
  const TempFolder folder;
  const std::wstring path = folder.write(L"settings.ini", "# mine\nColour=red\nScanArchives=1\n");
  Settings settings;
  ASSERT_TRUE(readSettingsFile(settings, path));
  ASSERT_TRUE(writeSettingsFile(settings, path));
  Settings expected;
  expected.scanArchives = true;
  EXPECT_EQ(readFile(path), formatSettingsText(expected));
}

TEST(SettingsFile, WritingIsFalseOnlyWhereTheFileCannotBeOpened) {
  const TempFolder folder;
  EXPECT_FALSE(writeSettingsFile(Settings(), folder.path()));
  EXPECT_FALSE(writeSettingsFile(Settings(), folder.at(L"none\\settings.ini")));

  const std::wstring path = folder.write(L"settings.ini", "ScanArchives=1\n");
  const UniqueHandle held = hold(path, GENERIC_READ, FILE_SHARE_READ);
  EXPECT_FALSE(writeSettingsFile(Settings(), path));
  EXPECT_EQ(readFile(path), "ScanArchives=1\n");
}

TEST(SettingsFile, AReaderThatSharesItDoesNotKeepItFromBeingSaved) {
  const TempFolder folder;
  const std::wstring path = folder.write(L"settings.ini", "ScanArchives=1\n");
  const UniqueHandle reader = hold(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE);
  EXPECT_TRUE(writeSettingsFile(someSettings(), path));
  EXPECT_EQ(readFile(path), formatSettingsText(someSettings()));
}

TEST(SettingsFile, SaversAtTheSameTimeLeaveAWholeFile) {
  const TempFolder folder;
  const std::wstring path = folder.at(L"settings.ini");
  Settings brief = someSettings();
  Settings lengthy = someSettings();
  brief.updateServer.clear();
  lengthy.updateServer.assign(20'000, 'x');
  std::vector<std::thread> savers;
  for (const Settings* settings : {&brief, &lengthy, &brief}) {
    savers.emplace_back([settings, &path] {
      for (int i = 0; i < 20; ++i) EXPECT_TRUE(writeSettingsFile(*settings, path));
    });
  }
  for (std::thread& saver : savers) saver.join();
  const std::string left = readFile(path);
  EXPECT_TRUE(left == formatSettingsText(brief) || left == formatSettingsText(lengthy));
}

}  // namespace
}  // namespace korvel
