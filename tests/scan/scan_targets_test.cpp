#include "scan/scan_targets.h"

#include <algorithm>

#include "base/win.h"
#include "scan_fixture.h"
#include "support/test_servers.h"

namespace korvel {
namespace {

/// Sets USERPROFILE for one test.
class QuickTargetsTest : public test::ScanFixture {
 protected:
  void SetUp() override { ::GetEnvironmentVariableW(L"USERPROFILE", saved_, MAX_PATH); }
  void TearDown() override { ::SetEnvironmentVariableW(L"USERPROFILE", saved_); }

  static std::vector<ScanTarget> programFolders() {
    return {
        {L"C:\\Windows\\System32", true}, {L"C:\\Program Files", true}, {L"C:\\Program Files (x86)", true}};
  }

 private:
  wchar_t saved_[MAX_PATH + 1] = {};
};

TEST_F(QuickTargetsTest, ListsExistingUserFoldersInTheirOrderThenTheProfileThenThePrograms) {
  folder_.write(L"Temp\\x", "");
  folder_.write(L"AppData\\Local\\Temp\\x", "");
  folder_.write(L"Downloads\\x", "");
  folder_.write(L"Documents\\x", "");
  ::SetEnvironmentVariableW(L"USERPROFILE", folder_.path().c_str());
  std::vector<ScanTarget> expected = {{folder_.at(L"Downloads"), true},
                                      {folder_.at(L"Documents"), true},
                                      {folder_.at(L"AppData\\Local\\Temp"), true},
                                      {folder_.at(L"Temp"), true},
                                      {folder_.path(), false}};
  for (const ScanTarget& program : programFolders()) expected.push_back(program);
  EXPECT_EQ(quickTargets(), expected);
}

TEST_F(QuickTargetsTest, WithEveryUserFolderThereTheListIsWhole) {
  for (const wchar_t* name : {L"Temp", L"AppData\\Local\\Temp", L"Documents", L"Desktop", L"Downloads"}) {
    folder_.write(std::wstring(name) + L"\\x", "");
  }
  ::SetEnvironmentVariableW(L"USERPROFILE", folder_.path().c_str());
  EXPECT_EQ(quickTargets(), (std::vector<ScanTarget>{{folder_.at(L"Downloads"), true},
                                                     {folder_.at(L"Desktop"), true},
                                                     {folder_.at(L"Documents"), true},
                                                     {folder_.at(L"AppData\\Local\\Temp"), true},
                                                     {folder_.at(L"Temp"), true},
                                                     {folder_.path(), false},
                                                     {L"C:\\Windows\\System32", true},
                                                     {L"C:\\Program Files", true},
                                                     {L"C:\\Program Files (x86)", true}}));
}

TEST_F(QuickTargetsTest, AProfileThatEndsInASeparatorGetsNoSecondOne) {
  folder_.write(L"Desktop\\x", "");
  ::SetEnvironmentVariableW(L"USERPROFILE", (folder_.path() + L"\\").c_str());
  EXPECT_EQ(quickTargets().front(), (ScanTarget{folder_.at(L"Desktop"), true}));
}

TEST_F(QuickTargetsTest, WithoutAProfileTheDriveRootStandsIn) {
  ::SetEnvironmentVariableW(L"USERPROFILE", nullptr);
  const std::vector<ScanTarget> targets = quickTargets();
  EXPECT_NE(std::find(targets.begin(), targets.end(), ScanTarget{L"C:\\", false}), targets.end());
}

TEST_F(QuickTargetsTest, AMissingProfileLeavesOnlyThePrograms) {
  ::SetEnvironmentVariableW(L"USERPROFILE", folder_.at(L"nobody").c_str());
  EXPECT_EQ(quickTargets(), programFolders());
}

TEST(FullTargets, ListsFixedAndRemovableDriveRootsInLetterOrder) {
  const std::vector<ScanTarget> targets = fullTargets();
  EXPECT_NE(std::find(targets.begin(), targets.end(), ScanTarget{L"C:\\", true}), targets.end());
  EXPECT_TRUE(std::is_sorted(targets.begin(), targets.end(),
                             [](const ScanTarget& a, const ScanTarget& b) { return a.path < b.path; }));
  for (const ScanTarget& target : targets) {
    const UINT type = ::GetDriveTypeW(target.path.c_str());
    EXPECT_TRUE(type == DRIVE_FIXED || type == DRIVE_REMOVABLE);
  }
}

TEST(FullTargets, RemovableDrivesAreAmongThem) {
  if (!test::isTestMachine()) GTEST_SKIP() << "only the test machine has a removable drive for certain";
  ASSERT_EQ(::GetDriveTypeW(L"A:\\"), static_cast<UINT>(DRIVE_REMOVABLE));
  EXPECT_EQ(fullTargets().front(), (ScanTarget{L"A:\\", true}));
}

}  // namespace
}  // namespace korvel
