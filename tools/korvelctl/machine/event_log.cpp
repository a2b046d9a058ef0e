#include "korvelctl/machine/event_log.h"

#include <vector>

#include "base/files.h"
#include "korvelctl/machine/registry_key.h"

namespace korvel::ctl {
namespace {

constexpr wchar_t kLogKey[] = L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\";

std::wstring sourceKey() { return std::wstring(kLogKey) + kEventSource; }

WORD typeOf(EventLevel level) {
  switch (level) {
    case EventLevel::kError:
      return EVENTLOG_ERROR_TYPE;
    case EventLevel::kWarning:
      return EVENTLOG_WARNING_TYPE;
    case EventLevel::kInformation:
      break;
  }
  return EVENTLOG_INFORMATION_TYPE;
}

}  // namespace

bool eventSourceRegistered() {
  wchar_t file[MAX_PATH * 4] = {};
  DWORD bytes = sizeof file - sizeof file[0];
  return ::RegGetValueW(HKEY_LOCAL_MACHINE, sourceKey().c_str(), L"EventMessageFile", RRF_RT_REG_SZ,
                        /*type=*/nullptr, file, &bytes) == ERROR_SUCCESS &&
         pathExists(file);
}

uint32_t registerEventSource(const std::wstring& messageFile) {
  UniqueRegistryKey key;
  LSTATUS result = ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, sourceKey().c_str(), /*reserved=*/0,
                                     /*class=*/nullptr, REG_OPTION_NON_VOLATILE, KEY_SET_VALUE,
                                     /*security=*/nullptr, key.receive(), /*disposition=*/nullptr);
  if (result != ERROR_SUCCESS) return static_cast<uint32_t>(result);
  const DWORD bytes = static_cast<DWORD>((messageFile.size() + 1) * sizeof(wchar_t));
  result = ::RegSetValueExW(key.get(), L"EventMessageFile", /*reserved=*/0, REG_SZ,
                            reinterpret_cast<const BYTE*>(messageFile.c_str()), bytes);
  if (result != ERROR_SUCCESS) return static_cast<uint32_t>(result);
  const DWORD types = EVENTLOG_ERROR_TYPE | EVENTLOG_WARNING_TYPE | EVENTLOG_INFORMATION_TYPE;
  return static_cast<uint32_t>(::RegSetValueExW(key.get(), L"TypesSupported", /*reserved=*/0, REG_DWORD,
                                                reinterpret_cast<const BYTE*>(&types), sizeof types));
}

uint32_t unregisterEventSource() {
  const LSTATUS result = ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, sourceKey().c_str());
  return result == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : static_cast<uint32_t>(result);
}

EventLog::EventLog() : source_(::RegisterEventSourceW(/*machine=*/nullptr, kEventSource)) {
  if (!source_) openError_ = ::GetLastError();
}

uint32_t EventLog::write(const EventRecord& record) const {
  if (!source_) return openError_;
  std::vector<const wchar_t*> strings;
  for (const std::wstring& string : record.strings) strings.push_back(string.c_str());
  const BOOL written =
      ::ReportEventW(source_.get(), typeOf(record.level), /*category=*/0, static_cast<DWORD>(record.id),
                     /*user=*/nullptr, static_cast<WORD>(strings.size()), /*dataSize=*/0, strings.data(),
                     /*data=*/nullptr);
  return written ? ERROR_SUCCESS : ::GetLastError();
}

}  // namespace korvel::ctl
