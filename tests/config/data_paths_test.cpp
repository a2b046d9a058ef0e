#include "config/data_paths.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "base/files.h"
#include "base/paths.h"
#include "base/win.h"
#include "support/temp_folder.h"

namespace korvel {
namespace {

/// The machine's shared application data folder, looked up in another way than by the code under test.
std::wstring programData() {
  wchar_t folder[MAX_PATH] = {};
  const DWORD length = ::GetEnvironmentVariableW(L"ProgramData", folder, MAX_PATH);
  return length == 0 ? L"C:\\ProgramData" : std::wstring(folder, length);
}

TEST(DataPaths, LieInTheDataDirectory) {
  const std::wstring dir = programData() + L"\\KORVEL Antivirus";
  EXPECT_EQ(dataDir(), dir);
  EXPECT_EQ(logPath(), dir + L"\\korvel.log");
  EXPECT_EQ(settingsPath(), dir + L"\\settings.ini");
  EXPECT_EQ(defaultQuarantineDir(), dir + L"\\Quarantine");
  EXPECT_EQ(liveSignaturesPath(), dir + L"\\signatures.live.txt");
  EXPECT_EQ(updatesDir(), dir + L"\\updates");
}

TEST(DataPaths, TheScanCacheLiesBesideTheDataDirectory) {
  EXPECT_EQ(scanCachePath(), programData() + L"\\KORVEL Antivirusscan.cache");
}

TEST(DataPaths, TheSeedDatabaseLiesBesideTheExecutable) {
  wchar_t executable[MAX_PATH + 1] = {};
  ASSERT_NE(::GetModuleFileNameW(nullptr, executable, MAX_PATH), 0u);
  const std::wstring path = executable;
  EXPECT_EQ(seedSignaturesPath(), path.substr(0, path.find_last_of(L'\\')) + L"\\data\\signatures.seed.txt");
}

/// Gives this process, and no other, known folders of its own.
class KnownFolders : public testing::Test {
 protected:
  void SetUp() override {
    if (::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") == nullptr) {
      GTEST_SKIP() << "Windows itself reads its known folders once and keeps them";
    }
    copyRoot(HKEY_LOCAL_MACHINE, machine_, L"machine");
    copyRoot(HKEY_CURRENT_USER, user_, L"user");
    ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine_);
    ::RegOverridePredefKey(HKEY_CURRENT_USER, user_);
  }
  void TearDown() override {
    ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    ::RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    ::RegCloseKey(machine_);
    ::RegCloseKey(user_);
    ::RegDeleteTreeW(HKEY_CURRENT_USER, kOwnRoots);
  }

  static void moveShared(const std::wstring& to) { move(HKEY_LOCAL_MACHINE, L"Common AppData", to); }
  static void moveUsers(const std::wstring& to) { move(HKEY_CURRENT_USER, L"Local AppData", to); }

  static constexpr wchar_t kMissing[] = L"Q:\\korvel-test";
  test::TempFolder folder_;

 private:
  static constexpr wchar_t kOwnRoots[] = L"Software\\korvel-test";
  static constexpr wchar_t kExplorer[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer";

  static void copyRoot(HKEY root, HKEY& copy, const wchar_t* name) {
    const std::wstring key = std::wstring(kOwnRoots) + L"\\" + name;
    HKEY explorer = nullptr;
    ASSERT_EQ(::RegCreateKeyW(HKEY_CURRENT_USER, key.c_str(), &copy), ERROR_SUCCESS);
    ASSERT_EQ(::RegCreateKeyW(copy, kExplorer, &explorer), ERROR_SUCCESS);
    EXPECT_EQ(::RegCopyTreeW(root, kExplorer, explorer), ERROR_SUCCESS);
    ::RegCloseKey(explorer);
  }
  static void move(HKEY root, const wchar_t* name, const std::wstring& to) {
    const std::wstring key = std::wstring(kExplorer) + L"\\User Shell Folders";
    EXPECT_EQ(::RegSetKeyValueW(root, key.c_str(), name, REG_SZ, to.c_str(),
                                static_cast<DWORD>((to.size() + 1) * sizeof(wchar_t))),
              ERROR_SUCCESS);
  }

  HKEY machine_ = nullptr;
  HKEY user_ = nullptr;
};

TEST_F(KnownFolders, WithoutASharedFolderTheUsersOwnIsTakenUnderAnotherName) {
  moveShared(kMissing);
  moveUsers(folder_.path());
  EXPECT_EQ(dataDir(), folder_.at(L"KorvelAntivirus"));
  EXPECT_TRUE(pathExists(folder_.at(L"KorvelAntivirus")));
}

TEST_F(KnownFolders, WithoutAnyFolderThePathsLieInTheRootOfTheCurrentDrive) {
  moveShared(kMissing);
  moveUsers(kMissing);
  EXPECT_EQ(dataDir(), L"");
  EXPECT_EQ(settingsPath(), L"\\settings.ini");
  EXPECT_EQ(scanCachePath(), L"scan.cache");
}

TEST_F(KnownFolders, ADataDirectoryThatCannotBeMadeIsNamedAllTheSame) {
  moveShared(folder_.path());
  folder_.write(L"KORVEL Antivirus", "a file in the way");
  EXPECT_EQ(dataDir(), folder_.at(L"KORVEL Antivirus"));
}

TEST(DataPaths, EveryPathOfTheDataDirectoryMakesTheDirectoryAgain) {
  const std::wstring dir = dataDir();
  if (!::RemoveDirectoryW(dir.c_str())) GTEST_SKIP() << "the data directory is in use";
  for (const auto path : {dataDir, logPath, settingsPath, defaultQuarantineDir, liveSignaturesPath,
                          updatesDir, scanCachePath}) {
    (void)::RemoveDirectoryW(dir.c_str());
    EXPECT_FALSE(pathExists(dir));
    const std::wstring made = path();
    EXPECT_TRUE(pathExists(dir)) << made.size();
  }
}

TEST(DataPaths, MakeNothingButTheDataDirectory) {
  const std::wstring dir = dataDir();
  if (pathExists(dir + L"\\settings.ini")) GTEST_SKIP() << "the data directory is in use";
  EXPECT_FALSE(pathExists(defaultQuarantineDir()));
  EXPECT_FALSE(pathExists(updatesDir()));
  EXPECT_FALSE(pathExists(scanCachePath()));
}

TEST(DataPaths, LookingForTheDataDirectoryCreatesNothing) {
  const std::wstring dir = dataDir();
  if (!::RemoveDirectoryW(dir.c_str())) GTEST_SKIP() << "the data directory is in use";
  EXPECT_EQ(whereDataDirIs(), dir);
  EXPECT_FALSE(pathExists(dir));
}

}  // namespace
}  // namespace korvel
