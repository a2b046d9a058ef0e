// What the kill test and its helper process agree on. Windows only.
#pragma once

#include <cstdint>
#include <string>

#include "config/settings.h"

namespace korvel::test {

// kill_helper.exe <operation> <folder> <name of the ready event> <name of the finished event>
inline constexpr wchar_t kSaveSettings[] = L"save-settings";  // over and over
inline constexpr wchar_t kAddFiles[] = L"add";                // every file of the folder, once
inline constexpr wchar_t kRestoreRecords[] = L"restore";      // every record, in order
inline constexpr wchar_t kDeleteRecords[] = L"delete";        // every record, in order

inline constexpr int kFileCount = 5;

inline std::wstring settingsIn(const std::wstring& folder) { return folder + L"\\settings.ini"; }
inline std::wstring quarantineIn(const std::wstring& folder) { return folder + L"\\Quarantine"; }
inline std::wstring numberedName(int number) { return std::to_wstring(number) + L".exe"; }
inline std::wstring userFileIn(const std::wstring& folder, int number) {
  return folder + L"\\User\\" + numberedName(number);
}

/// The text of every version has another length, so that a mixture of two shows.
inline Settings settingsVersion(uint64_t version) {
  Settings settings;
  settings.signatureDb = L"C:\\seed.txt";
  settings.quarantineDir = L"C:\\Quarantine";
  settings.lastScanUtc = version;
  settings.scanArchives = version % 2 == 1;
  settings.updateServer.assign(static_cast<size_t>(version * 37 % 3000), 's');
  return settings;
}

}  // namespace korvel::test
