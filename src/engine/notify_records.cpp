#include "engine/notify_records.h"

namespace korvel::svc {
namespace {

// Offsets of the fields of a FILE_NOTIFY_INFORMATION.
constexpr uint64_t kNextRecord = 0;
constexpr uint64_t kNameLength = 8;  // in bytes
constexpr uint64_t kName = 12;
constexpr uint64_t kShortestRecordBytes = 16;

std::wstring nameAt(ByteView records, uint64_t offset, uint32_t bytes) {
  std::wstring name;
  name.reserve(bytes / 2);
  for (uint32_t at = 0; at < bytes; at += 2) name.push_back(static_cast<wchar_t>(*records.u16(offset + at)));
  return name;
}

}  // namespace

std::vector<std::wstring> changedNames(ByteView records) {
  std::vector<std::wstring> names;
  uint64_t offset = 0;
  while (records.has(offset, kShortestRecordBytes)) {
    const uint32_t next = *records.u32(offset + kNextRecord);
    const uint32_t nameBytes = *records.u32(offset + kNameLength);
    if (nameBytes % 2 != 0 || !records.has(offset + kName, nameBytes)) break;
    std::wstring name = nameAt(records, offset + kName, nameBytes);
    if (!name.empty() && name.front() != L'.') names.push_back(std::move(name));
    if (next == 0) break;
    offset += next;
  }
  return names;
}

}  // namespace korvel::svc
