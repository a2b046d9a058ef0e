#include "korvelctl/machine/quarantine_files.h"

#include "base/files.h"
#include "base/long_path.h"
#include "base/paths.h"
#include "base/sizes.h"
#include "base/text.h"
#include "base/unique_resource.h"
#include "hash/hex_digest.h"
#include "hash/triple_digest.h"

namespace korvel::ctl {
namespace {

constexpr uint64_t kMostIndexBytes = 256 * kMiB;
constexpr size_t kPieceBytes = 256 * kKiB;

bool isIndexFile(const std::wstring& name) {
  const std::wstring lower = lowerWide(name);
  return lower == L"quarantine.db" || lower == L"quarantine.db.tmp";
}

}  // namespace

std::optional<std::string> sha256Of(const std::wstring& path) {
  const UniqueHandle file = openForReading(path);
  if (!file) return std::nullopt;
  hash::TripleDigest digest;
  std::vector<uint8_t> piece(kPieceBytes);
  for (;;) {
    DWORD got = 0;
    if (!::ReadFile(file.get(), piece.data(), static_cast<DWORD>(piece.size()), &got, /*overlapped=*/nullptr))
      return std::nullopt;
    if (got == 0) return hash::encodeHex(digest.digests().sha256);
    digest.update(piece.data(), got);
  }
}

std::optional<std::vector<StoredFile>> storedFilesIn(const std::wstring& folder, Digests digests) {
  WIN32_FIND_DATAW entry{};
  const std::wstring pattern = joinPath(forFileApi(folder), L"*");
  const UniqueFindHandle find(::FindFirstFileExW(pattern.c_str(), FindExInfoBasic, &entry,
                                                 FindExSearchNameMatch,
                                                 /*filter=*/nullptr, /*flags=*/0));
  if (!find) return std::nullopt;
  std::vector<StoredFile> files;
  do {
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) continue;
    StoredFile file;
    file.name = entry.cFileName;
    file.size = static_cast<uint64_t>(entry.nFileSizeHigh) << 32 | entry.nFileSizeLow;
    if (digests == Digests::kComputed && !isIndexFile(file.name))
      file.sha256 = sha256Of(joinPath(folder, file.name));
    files.push_back(std::move(file));
  } while (::FindNextFileW(find.get(), &entry));
  if (::GetLastError() != ERROR_NO_MORE_FILES) return std::nullopt;
  return files;
}

IndexOnDisk readIndexIn(const std::wstring& folder) {
  IndexOnDisk index;
  std::string text;
  if (readWholeFile(joinPath(folder, L"quarantine.db"), text, kMostIndexBytes)) {
    index.text = std::move(text);
    index.state = indexStateOf(index.text);
  } else if (pathStatusFromError(::GetLastError()) == PathStatus::kMissing && pathExists(folder)) {
    index.state = IndexState::kMissing;
  }
  return index;
}

}  // namespace korvel::ctl
