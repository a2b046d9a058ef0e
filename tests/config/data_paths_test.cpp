#include "config/data_paths.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "base/files.h"
#include "base/paths.h"
#include "base/win.h"

namespace korvel {
namespace {

/// Where the machine's shared application data lies, found another way than the code under test finds it.
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

}  // namespace
}  // namespace korvel
