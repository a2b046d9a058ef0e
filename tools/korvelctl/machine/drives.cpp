#include "korvelctl/machine/drives.h"

#include "base/sizes.h"
#include "base/win.h"

#include <winnetwk.h>

namespace korvel::ctl {
namespace {

constexpr DWORD kNameUnits = 32 * kKiB;  // the longest path

std::wstring deviceOf(const std::wstring& drive) {
  std::wstring device(kNameUnits, L'\0');
  if (::QueryDosDeviceW(drive.c_str(), device.data(), kNameUnits) == 0) return {};
  device.resize(device.find(L'\0'));  // the first of a list of texts is the one in force
  return device;
}

std::wstring shareOf(const std::wstring& drive) {
  std::wstring share(kNameUnits, L'\0');
  DWORD units = kNameUnits;
  const DWORD result = ::WNetGetConnectionW(drive.c_str(), share.data(), &units);
  // A share that is not connected at the moment has a name all the same.
  if (result != NO_ERROR && result != ERROR_CONNECTION_UNAVAIL) return {};
  share.resize(share.find(L'\0'));
  return share;
}

}  // namespace

DriveFacts driveFacts(wchar_t letter) {
  const std::wstring drive{letter, L':'};
  DriveFacts facts;
  facts.device = deviceOf(drive);
  facts.remote = ::GetDriveTypeW((drive + L"\\").c_str()) == DRIVE_REMOTE;
  facts.share = shareOf(drive);
  return facts;
}

ServicePath pathForService(const std::wstring& path) { return pathForService(path, driveFacts); }

}  // namespace korvel::ctl
