#include "korvelctl/model/access_rules.h"

#include <gtest/gtest.h>

namespace korvel::ctl {
namespace {

constexpr char kSystem[] = "S-1-5-18";
constexpr char kAdministrators[] = "S-1-5-32-544";
constexpr char kUsers[] = "S-1-5-32-545";
constexpr char kEveryone[] = "S-1-1-0";
constexpr char kSomeone[] = "S-1-5-21-1-2-3-1001";
constexpr char kCreatorOwner[] = "S-1-3-0";
constexpr uint32_t kAll = 0x1F01FF;
constexpr uint32_t kReadAndExecute = 0x1200A9;

AccessEntry allows(const char* account, uint32_t mask, bool inheritOnly = false) {
  return {.allows = true, .inheritOnly = inheritOnly, .account = account, .mask = mask};
}
AccessEntry denies(const char* account, uint32_t mask) {
  return {.allows = false, .inheritOnly = false, .account = account, .mask = mask};
}

AccessList tight() {
  return {.owner = kAdministrators,
          .present = true,
          .inherits = false,
          .entries = {allows(kSystem, kAll), allows(kAdministrators, kAll), allows(kUsers, kReadAndExecute)}};
}

TEST(AccessRules, GiveUsersNothingButReadingAndInTheQuarantineNotEvenThat) {
  EXPECT_EQ(folderDescriptor(ProtectedFolder::kData),
            L"O:BAD:PAI(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;BU)");
  EXPECT_EQ(folderDescriptor(ProtectedFolder::kProgram), folderDescriptor(ProtectedFolder::kData));
  EXPECT_EQ(folderDescriptor(ProtectedFolder::kQuarantine), L"O:BAD:PAI(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)");
}

TEST(AccessRules, WhatLiesBelowInheritsAndIsNotClosedToLaterChangesOfTheFolder) {
  EXPECT_EQ(contentDescriptor(ProtectedFolder::kData, /*isFolder=*/false),
            L"O:BAD:ARAI(A;ID;FA;;;SY)(A;ID;FA;;;BA)(A;ID;0x1200a9;;;BU)");
  EXPECT_EQ(contentDescriptor(ProtectedFolder::kQuarantine, /*isFolder=*/true),
            L"O:BAD:ARAI(A;OICIID;FA;;;SY)(A;OICIID;FA;;;BA)");
}

TEST(AccessRules, ATightListHasNoProblem) {
  EXPECT_TRUE(accessProblems(tight(), ProtectedFolder::kProgram).empty());
  EXPECT_TRUE(accessProblems(tight(), ProtectedFolder::kData).empty());
}

TEST(AccessRules, TheListThatProgramFilesPassesOnIsTightEnough) {
  AccessList list = tight();
  list.owner = "S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464";
  list.inherits = true;
  list.entries.push_back(allows(list.owner.c_str(), kAll));
  list.entries.push_back(allows(kCreatorOwner, 0x10000000, /*inheritOnly=*/true));
  list.entries.push_back(allows("S-1-15-2-1", kReadAndExecute));  // packaged programs
  EXPECT_TRUE(accessProblems(list, ProtectedFolder::kProgram).empty());
}

TEST(AccessRules, EachRightToChangeSomethingIsAProblem) {
  for (const uint32_t right :
       {0x2u, 0x4u, 0x10u, 0x40u, 0x100u, 0x10000u, 0x40000u, 0x80000u, 0x10000000u, 0x40000000u}) {
    AccessList list = tight();
    list.entries.push_back(allows(kEveryone, right));
    EXPECT_EQ(accessProblems(list, ProtectedFolder::kData),
              (std::vector<AccessProblem>{{AccessFault::kMayChange, kEveryone}}))
        << std::hex << right;
  }
}

TEST(AccessRules, ReadingIsAProblemInTheQuarantineOnly) {
  EXPECT_EQ(accessProblems(tight(), ProtectedFolder::kQuarantine),
            (std::vector<AccessProblem>{{AccessFault::kMayLook, kUsers}}));
  AccessList list = tight();
  list.entries[2].mask = 0x120088;  // look at attributes, wait, read the list
  EXPECT_TRUE(accessProblems(list, ProtectedFolder::kQuarantine).empty());
}

TEST(AccessRules, AnOwnerMayAlwaysOpenTheListAgain) {
  AccessList list = tight();
  list.owner = kSomeone;
  EXPECT_EQ(accessProblems(list, ProtectedFolder::kData),
            (std::vector<AccessProblem>{{AccessFault::kOwnerMayChange, kSomeone}}));
}

TEST(AccessRules, NoListIsOpenToEveryoneAndAnEmptyOneToNobody) {
  AccessList list{.owner = kSystem, .present = false, .inherits = false, .entries = {}};
  EXPECT_EQ(accessProblems(list, ProtectedFolder::kData),
            (std::vector<AccessProblem>{{AccessFault::kNoList, ""}}));
  list.present = true;
  EXPECT_TRUE(accessProblems(list, ProtectedFolder::kQuarantine).empty());
}

TEST(AccessRules, AnEarlierDenialOfTheSameAccountCountsAndALaterOneDoesNot) {
  AccessList list = tight();
  list.entries.insert(list.entries.begin(), denies(kUsers, 0x2));
  list.entries.push_back(allows(kUsers, 0x2));
  EXPECT_TRUE(accessProblems(list, ProtectedFolder::kData).empty());
  list.entries.erase(list.entries.begin());
  list.entries.push_back(denies(kUsers, 0x2));
  EXPECT_EQ(accessProblems(list, ProtectedFolder::kData),
            (std::vector<AccessProblem>{{AccessFault::kMayChange, kUsers}}));
}

TEST(AccessRules, EachAccountIsNamedOnce) {
  AccessList list = tight();
  list.entries.push_back(allows(kSomeone, kAll));
  list.entries.push_back(allows(kSomeone, kAll, /*inheritOnly=*/true));
  EXPECT_EQ(accessProblems(list, ProtectedFolder::kData).size(), 1u);
}

TEST(AccessRules, OnlyAFolderOfItsOwnMayBeProtected) {
  const std::vector<std::wstring> shared = {L"C:\\Windows", L"C:\\Program Files", L"C:\\ProgramData",
                                            L"C:\\Users\\ann\\Desktop"};
  for (const wchar_t* folder :
       {L"C:\\Program Files\\Korvel", L"D:\\Защита", L"C:\\Users\\ann\\Desktop\\korvel",
        L"c:/program files/Korvel/", L"\\\\?\\C:\\Program Files\\Korvel", L"C:\\Windows10",
        L"C:\\ProgramData\\KORVEL Antivirus"}) {
    EXPECT_TRUE(mayBeProtected(folder, shared)) << folder;
  }
  for (const wchar_t* folder : {L"", L"C:", L"C:\\", L"\\\\?\\C:\\", L"C:\\Windows", L"c:\\windows\\",
                                L"C:\\Windows\\System32\\korvel", L"C:\\program files", L"C:\\Users",
                                L"C:\\Users\\ann", L"C:\\Users\\Ann\\Desktop", L"\\\\server\\share"}) {
    EXPECT_FALSE(mayBeProtected(folder, shared)) << folder;
  }
}

}  // namespace
}  // namespace korvel::ctl
