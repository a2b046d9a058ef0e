// The process that kill_test.cpp kills: does one kind of file operation until it is ended. If the test is
// gone, it ends by itself after a few seconds. Uses few libraries, so that it starts fast.
#include <cstdio>
#include <string>

#include "base/unique_resource.h"
#include "config/settings_file.h"
#include "remedy/kill_plan.h"
#include "remedy/quarantine_store.h"

namespace korvel::test {
namespace {

constexpr ULONGLONG kLifeMs = 5000;

bool signalEvent(const wchar_t* name) {
  const UniqueHandle event(::OpenEventW(EVENT_MODIFY_STATE, /*inherit=*/FALSE, name));
  return event && ::SetEvent(event.get());
}

void saveSettings(const std::wstring& folder) {
  const ULONGLONG end = ::GetTickCount64() + kLifeMs;
  for (uint64_t version = 1; ::GetTickCount64() < end; ++version) {
    (void)writeSettingsFile(settingsVersion(version), settingsIn(folder));
  }
}

void addFiles(const std::wstring& folder) {
  QuarantineStore store;
  for (int i = 0; i < kFileCount; ++i) {
    std::string error;
    if (!store.addFile(quarantineIn(folder), userFileIn(folder, i), "0123456789abcdef", "threat", "SIG.MATCH",
                       kSeverityHigh, /*outRecord=*/nullptr, &error)) {
      std::fprintf(stderr, "kill_helper: %s\n", error.c_str());
    }
  }
}

void eachRecord(const std::wstring& folder,
                bool (QuarantineStore::*operation)(const std::wstring&, uint64_t, std::string*)) {
  QuarantineStore store;
  for (const QuarantineRecord& record : store.listRecords(quarantineIn(folder))) {
    std::string error;
    if (!(store.*operation)(quarantineIn(folder), record.id, &error)) {
      std::fprintf(stderr, "kill_helper: %s\n", error.c_str());
    }
  }
}

int run(int count, wchar_t** arguments) {
  if (count != 5) return 2;
  const std::wstring operation = arguments[1];
  const std::wstring folder = arguments[2];
  if (!signalEvent(arguments[3])) return 3;
  if (operation == kSaveSettings) {
    saveSettings(folder);
  } else if (operation == kAddFiles) {
    addFiles(folder);
  } else if (operation == kRestoreRecords) {
    eachRecord(folder, &QuarantineStore::restoreRecord);
  } else if (operation == kDeleteRecords) {
    eachRecord(folder, &QuarantineStore::deleteRecord);
  } else {
    return 2;
  }
  if (!signalEvent(arguments[4])) return 3;
  ::Sleep(static_cast<DWORD>(kLifeMs));
  return 0;
}

}  // namespace
}  // namespace korvel::test

int wmain(int count, wchar_t** arguments) { return korvel::test::run(count, arguments); }
