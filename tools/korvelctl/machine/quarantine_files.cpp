#include "korvelctl/machine/quarantine_files.h"

#include "base/files.h"
#include "base/long_path.h"
#include "base/sizes.h"

namespace korvel::ctl {
namespace {

constexpr uint64_t kMostIndexBytes = 64 * kMiB;

}  // namespace

std::optional<std::vector<StoredFile>> listStoredFiles(const std::wstring& folder) {
  std::vector<StoredFile> files;
  WIN32_FIND_DATAW entry{};
  const UniqueFindHandle search(::FindFirstFileW((forFileApi(folder) + L"\\*").c_str(), &entry));
  if (!search) {
    if (pathStatusFromError(::GetLastError()) == PathStatus::kMissing) return files;
    return std::nullopt;
  }
  do {
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) continue;
    files.push_back({entry.cFileName, uint64_t{entry.nFileSizeHigh} << 32 | entry.nFileSizeLow});
  } while (::FindNextFileW(search.get(), &entry));
  if (::GetLastError() != ERROR_NO_MORE_FILES) return std::nullopt;
  return files;
}

IndexState readIndexState(const std::wstring& folder) {
  const std::wstring path = folder + L"\\quarantine.db";
  std::string text;
  if (readWholeFile(path, text, kMostIndexBytes)) return indexStateOf(text);
  return pathStatusFromError(::GetLastError()) == PathStatus::kMissing ? indexStateOf(std::nullopt)
                                                                       : IndexState::kNotLookedAt;
}

}  // namespace korvel::ctl
