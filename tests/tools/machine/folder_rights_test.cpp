// The test platform keeps only what fits into the nine bits of its own rights, and no owner; it is enough to
// see who may write. The lists themselves are those of access_rules_test.cpp.
#include "korvelctl/machine/folder_rights.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "base/files.h"
#include "base/paths.h"
#include "base/unique_resource.h"
#include "support/temp_folder.h"

#include <aclapi.h>

namespace korvel::ctl {
namespace {

constexpr char kEveryone[] = "S-1-1-0";

/// Lets everyone do everything, as an old installation may have it.
void open(const std::wstring& path) {
  EXPLICIT_ACCESSW everyone{};
  everyone.grfAccessPermissions = GENERIC_ALL;
  everyone.grfAccessMode = SET_ACCESS;
  everyone.grfInheritance = SUB_CONTAINERS_AND_OBJECTS_INHERIT;
  everyone.Trustee.TrusteeForm = TRUSTEE_IS_NAME;
  wchar_t name[] = L"EVERYONE";
  everyone.Trustee.ptstrName = name;
  PACL list = nullptr;
  ASSERT_EQ(::SetEntriesInAclW(1, &everyone, nullptr, &list), static_cast<DWORD>(ERROR_SUCCESS));
  const UniqueLocalMemory owned(list);
  std::wstring copy = path;
  ASSERT_EQ(::SetNamedSecurityInfoW(copy.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                                    list, nullptr),
            static_cast<DWORD>(ERROR_SUCCESS));
}

bool everyoneMay(const std::wstring& path, AccessFault fault, ProtectedFolder kind) {
  AccessList list;
  EXPECT_EQ(readAccessList(path, list), 0u);
  const std::vector<AccessProblem> problems = accessProblems(list, kind);
  return std::any_of(problems.begin(), problems.end(), [fault](const AccessProblem& problem) {
    return problem.fault == fault && problem.account == kEveryone;
  });
}

class FolderRights : public testing::Test {
 protected:
  static bool everyoneMayChange(const std::wstring& path) {
    return everyoneMay(path, AccessFault::kMayChange, ProtectedFolder::kData);
  }
  test::TempFolder temp_;
};

TEST_F(FolderRights, AFolderThatIsMissingIsMadeClosed) {
  const std::wstring folder = temp_.at(L"data");
  const RightsOutcome outcome = protectFolder(folder, ProtectedFolder::kData, {});
  EXPECT_TRUE(outcome.complete());
  EXPECT_EQ(outcome.changed, 1u);
  EXPECT_TRUE(pathExists(folder));
  EXPECT_FALSE(everyoneMayChange(folder));
}

TEST_F(FolderRights, AnOpenFolderIsClosedWithEverythingInIt) {
  const std::wstring file = temp_.write(L"data\\updates\\old\\setup.exe", "x");
  for (const std::wstring& path :
       {temp_.at(L"data"), temp_.at(L"data\\updates"), parentDirectory(file), file}) {
    open(path);
    ASSERT_TRUE(everyoneMayChange(path));
  }
  const RightsOutcome outcome = protectFolder(temp_.at(L"data"), ProtectedFolder::kData, {});
  EXPECT_TRUE(outcome.complete());
  EXPECT_EQ(outcome.changed, 4u);
  for (const std::wstring& path :
       {temp_.at(L"data"), temp_.at(L"data\\updates"), parentDirectory(file), file})
    EXPECT_FALSE(everyoneMayChange(path));
  EXPECT_EQ(test::readFile(file), "x");
}

TEST_F(FolderRights, ClosingTwiceIsTheSameAsOnce) {
  temp_.write(L"data\\settings.ini", "x");
  EXPECT_TRUE(protectFolder(temp_.at(L"data"), ProtectedFolder::kData, {}).complete());
  const RightsOutcome again = protectFolder(temp_.at(L"data"), ProtectedFolder::kData, {});
  EXPECT_TRUE(again.complete());
  EXPECT_EQ(again.changed, 2u);
}

TEST_F(FolderRights, TheQuarantineIsLeftOutOfTheDataFolder) {
  const std::wstring stored = temp_.write(L"data\\Quarantine\\1_2_x.exe", "x");
  open(temp_.at(L"data\\Quarantine"));
  open(stored);
  EXPECT_EQ(protectFolder(temp_.at(L"data"), ProtectedFolder::kData, temp_.at(L"DATA\\quarantine")).changed,
            1u);
  EXPECT_TRUE(everyoneMayChange(temp_.at(L"data\\Quarantine")));
}

TEST_F(FolderRights, AQuarantineIsClosedWithItsIndexButAStoredFileKeepsItsList) {
  const std::wstring index = temp_.write(L"Quarantine\\quarantine.db", "x");
  const std::wstring temporary = temp_.write(L"Quarantine\\quarantine.db.tmp", "x");
  const std::wstring stored = temp_.write(L"Quarantine\\1_2_x.exe", "x");
  for (const std::wstring& path : {temp_.at(L"Quarantine"), index, temporary, stored}) open(path);
  EXPECT_EQ(protectFolder(temp_.at(L"Quarantine"), ProtectedFolder::kQuarantine, {}).changed, 3u);
  EXPECT_TRUE(everyoneMayChange(stored)) << "its owner must be able to use it after a restore";
  for (const std::wstring& path : {temp_.at(L"Quarantine"), index, temporary}) {
    EXPECT_FALSE(everyoneMayChange(path));
    EXPECT_FALSE(everyoneMay(path, AccessFault::kMayLook, ProtectedFolder::kQuarantine));
  }
}

TEST_F(FolderRights, AFileWithASecondNameIsLeftAlone) {
  const std::wstring other = temp_.write(L"elsewhere.txt", "x");
  ASSERT_TRUE(createDirectories(temp_.at(L"data")));
  const std::wstring planted = temp_.at(L"data\\planted.txt");
  ASSERT_TRUE(::CreateHardLinkW(planted.c_str(), other.c_str(), nullptr));
  open(other);
  const RightsOutcome outcome = protectFolder(temp_.at(L"data"), ProtectedFolder::kData, {});
  EXPECT_FALSE(outcome.complete());
  EXPECT_EQ(outcome.links, std::vector<std::wstring>{planted});
  EXPECT_TRUE(everyoneMayChange(other));
}

TEST_F(FolderRights, WhatCannotBeOpenedIsReportedAndTheRestGoesOn) {
  const RightsOutcome outcome = protectFolder(temp_.at(L"missing\\data"), ProtectedFolder::kData, {});
  ASSERT_EQ(outcome.failures.size(), 1u);
  EXPECT_EQ(outcome.failures[0].win32, static_cast<uint32_t>(ERROR_PATH_NOT_FOUND));
}

TEST_F(FolderRights, AFileInThePlaceOfTheFolderIsClosedAndNothingIsSearchedInIt) {
  const std::wstring file = temp_.write(L"data", "x");
  EXPECT_EQ(protectFolder(file, ProtectedFolder::kData, {}).changed, 1u);
  EXPECT_EQ(test::readFile(file), "x");
}

TEST_F(FolderRights, TheListOfAMissingFileGivesItsCode) {
  AccessList list;
  EXPECT_EQ(readAccessList(temp_.at(L"missing"), list), static_cast<uint32_t>(ERROR_FILE_NOT_FOUND));
}

TEST_F(FolderRights, AccountsHaveNamesAndUnknownOnesKeepTheirNumber) {
  EXPECT_NE(accountName(kEveryone).find("veryone"), std::string::npos);
  EXPECT_EQ(accountName("S-1-5-21-9-9-9-9999"), "S-1-5-21-9-9-9-9999");
  EXPECT_EQ(accountName("nonsense"), "nonsense");
}

TEST_F(FolderRights, AReleasedFolderIsAsItsParentHasIt) {
  temp_.write(L"data\\settings.ini", "x");
  EXPECT_TRUE(protectFolder(temp_.at(L"data"), ProtectedFolder::kData, {}).complete());
  EXPECT_EQ(releaseFolder(temp_.at(L"data")), 0u);
  EXPECT_EQ(test::readFile(temp_.at(L"data\\settings.ini")), "x");
  EXPECT_EQ(releaseFolder(temp_.at(L"missing")), static_cast<uint32_t>(ERROR_FILE_NOT_FOUND));
}

}  // namespace
}  // namespace korvel::ctl
