#include "korvelctl/model/drive_path.h"

#include <gtest/gtest.h>

#include <map>

namespace korvel::ctl {
namespace {

class DrivePath : public testing::Test {
 protected:
  ServicePath ask(const wchar_t* path) {
    return pathForService(path, [this](wchar_t letter) {
      const auto found = drives_.find(letter);
      return found == drives_.end() ? DriveFacts() : found->second;
    });
  }
  static ServicePath same(const wchar_t* path) { return {DriveOutcome::kSame, path}; }
  static ServicePath folder(const wchar_t* path) { return {DriveOutcome::kFolder, path}; }
  static ServicePath share(const wchar_t* path) { return {DriveOutcome::kShare, path}; }
  static ServicePath hidden(const wchar_t* path) { return {DriveOutcome::kHidden, path}; }

  std::map<wchar_t, DriveFacts> drives_ = {{L'C', {.device = L"\\Device\\HarddiskVolume3"}}};
};

TEST_F(DrivePath, ALocalDriveIsTheSameForTheService) {
  EXPECT_EQ(ask(L"C:\\a\\b"), same(L"C:\\a\\b"));
  EXPECT_EQ(ask(L"c:\\"), same(L"c:\\"));
  EXPECT_EQ(ask(L"\\\\?\\C:\\a. "), same(L"\\\\?\\C:\\a. "));
  EXPECT_EQ(ask(L"\\\\.\\C:\\a"), same(L"\\\\.\\C:\\a"));
  EXPECT_EQ(ask(L"X:\\not in use"), same(L"X:\\not in use"));
}

TEST_F(DrivePath, AMappedDriveBecomesItsShare) {
  drives_[L'Z'] = {.remote = true, .share = L"\\\\srv\\data", .device = L"\\Device\\Mup"};
  EXPECT_EQ(ask(L"z:\\in\\x"), share(L"\\\\srv\\data\\in\\x"));
  EXPECT_EQ(ask(L"Z:\\"), share(L"\\\\srv\\data\\"));
  EXPECT_EQ(ask(L"\\\\?\\Z:\\in"), share(L"\\\\srv\\data\\in"));
}

TEST_F(DrivePath, TheShareIsTakenFromTheDeviceWhereTheSystemDoesNotNameIt) {
  drives_[L'Y'] = {.remote = true, .device = L"\\Device\\LanmanRedirector\\;Y:0000000000012abc\\srv\\data"};
  EXPECT_EQ(ask(L"Y:\\in"), share(L"\\\\srv\\data\\in"));
  drives_[L'Y'].device = L"\\Device\\Mup\\;LanmanRedirector\\;Y:0000000000012abc\\srv\\data";
  EXPECT_EQ(ask(L"Y:\\in"), share(L"\\\\srv\\data\\in"));
}

TEST_F(DrivePath, ANetworkDriveWithNothingKnownBehindItIsHidden) {
  for (const wchar_t* device : {L"", L"\\Device\\Mup", L"\\Device\\Odd\\;Y:1", L"\\Device\\Odd\\;Y:1\\"}) {
    drives_[L'Y'] = {.remote = true, .device = device};
    EXPECT_EQ(ask(L"Y:\\in"), hidden(L"Y:\\in")) << device;
  }
}

TEST_F(DrivePath, ASubstitutedDriveBecomesItsFolder) {
  drives_[L'Q'] = {.device = L"\\??\\C:\\work\\inbox"};
  EXPECT_EQ(ask(L"Q:\\x"), folder(L"C:\\work\\inbox\\x"));
  EXPECT_EQ(ask(L"Q:\\"), folder(L"C:\\work\\inbox\\"));
  drives_[L'Q'] = {.device = L"\\??\\C:\\"};
  EXPECT_EQ(ask(L"Q:\\x"), folder(L"C:\\x"));
  EXPECT_EQ(ask(L"Q:"), folder(L"C:\\"));
}

TEST_F(DrivePath, ASubstitutedDriveMayStandForAShareOrForAnotherLetter) {
  drives_[L'Q'] = {.device = L"\\??\\UNC\\srv\\data\\in"};
  EXPECT_EQ(ask(L"Q:\\x"), share(L"\\\\srv\\data\\in\\x"));
  drives_[L'R'] = {.device = L"\\??\\Z:\\in"};
  drives_[L'Z'] = {.remote = true, .share = L"\\\\srv\\data"};
  EXPECT_EQ(ask(L"R:\\x"), share(L"\\\\srv\\data\\in\\x"));
  drives_[L'Z'] = {.remote = true};
  EXPECT_EQ(ask(L"R:\\x"), hidden(L"R:\\x"));
}

TEST_F(DrivePath, ACircleOfLettersEnds) {
  drives_[L'Q'] = {.device = L"\\??\\R:\\a"};
  drives_[L'R'] = {.device = L"\\??\\Q:\\b"};
  EXPECT_EQ(ask(L"Q:\\x"), hidden(L"Q:\\x"));
}

TEST_F(DrivePath, APathOnAShareStaysAsItIs) {
  EXPECT_EQ(ask(L"\\\\srv\\data\\x"), share(L"\\\\srv\\data\\x"));
  EXPECT_EQ(ask(L"\\\\?\\UNC\\srv\\data\\x"), share(L"\\\\?\\UNC\\srv\\data\\x"));
}

}  // namespace
}  // namespace korvel::ctl
