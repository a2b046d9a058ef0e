#include "scan/file_steps.h"

#include <utility>

#include "base/files.h"
#include "base/long_path.h"
#include "base/paths.h"
#include "scan/file_rules.h"
#include "scan/scan_filter.h"
#include "signatures/signature_database.h"

namespace korvel {
namespace {

constexpr const char* kSkippedForSize = "Файл пропущен: превышен лимит размера";

uint64_t joined(DWORD high, DWORD low) { return static_cast<uint64_t>(high) << 32 | low; }

/// 0 where the folder cannot be asked.
DWORD attributesInFolder(const FileCalls& calls, const std::wstring& apiPath) {
  WIN32_FIND_DATAW entry{};
  const UniqueFindHandle find(calls.findFirstFile(apiPath.c_str(), FindExInfoBasic, &entry,
                                                  FindExSearchNameMatch, /*filter=*/nullptr, /*flags=*/0));
  return find ? entry.dwFileAttributes : 0;
}

/// Whether reading the file would first fetch its content.
bool isElsewhere(const ScanContext& context, const std::wstring& apiPath, DWORD attributes,
                 std::optional<uint32_t> listedAttributes) {
  return isContentElsewhere(attributes) ||
         isContentElsewhere(listedAttributes ? *listedAttributes
                                             : attributesInFolder(*context.calls, apiPath));
}

}  // namespace

FileLook lookAt(const ScanContext& context, const std::wstring& path,
                std::optional<uint32_t> listedAttributes) {
  FileLook look;
  look.path = path;
  look.apiPath = forFileApi(path);
  WIN32_FILE_ATTRIBUTE_DATA attributes{};  // all zero where they cannot be read
  const bool found =
      context.calls->getFileAttributes(look.apiPath.c_str(), GetFileExInfoStandard, &attributes) != FALSE;
  if (!found) look.win32 = static_cast<uint32_t>(::GetLastError());
  look.size = joined(attributes.nFileSizeHigh, attributes.nFileSizeLow);
  look.lastWriteTime =
      joined(attributes.ftLastWriteTime.dwHighDateTime, attributes.ftLastWriteTime.dwLowDateTime);
  if (!found) {
    look.use = FileUse::kMissing;
  } else if (look.size == 0) {
    look.use = FileUse::kNothing;
  } else if (look.size > context.maxFileSize) {
    look.use = FileUse::kSkip;
  } else if (isElsewhere(context, look.apiPath, attributes.dwFileAttributes, listedAttributes)) {
    look.use = FileUse::kJudgeName;
  } else {
    look.use = FileUse::kRead;
  }
  return look;
}

OpenedFile::OpenedFile(const FileCalls& calls, const std::wstring& apiPath)
    : file_(calls.createFile(
          apiPath.c_str(), GENERIC_READ, FILE_SHARE_READ, /*security=*/nullptr, OPEN_EXISTING,
          FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN | FILE_FLAG_OPEN_NO_RECALL | kOpenAnonymously,
          /*template=*/nullptr)) {}

std::optional<size_t> OpenedFile::read(uint8_t* to, size_t bytes) {
  DWORD got = 0;
  if (!::ReadFile(file_.get(), to, static_cast<DWORD>(bytes), &got, /*overlapped=*/nullptr)) return {};
  return got;
}

void OpenedFile::rewind() {
  (void)::SetFilePointerEx(file_.get(), LARGE_INTEGER{}, /*newPosition=*/nullptr, FILE_BEGIN);
}

FileVerdict judgeFile(const ScanContext& context, FileLook look, const FileContent& content,
                      RuleTrace* trace) {
  std::wstring name = fileName(look.path);
  if (look.use != FileUse::kJudgeName && look.use != FileUse::kRead) {
    FileVerdict verdict;
    verdict.path = std::move(look.path);
    verdict.fileName = std::move(name);
    verdict.size = look.size;
    verdict.lastWriteTime = look.lastWriteTime;
    if (look.use == FileUse::kSkip) verdict.reasons.emplace_back(kSkippedForSize);
    return verdict;
  }
  SignatureMatch match;
  const bool matched = content.digests && context.database->lookup(*content.digests, &match);
  return buildVerdict(std::move(look.path), std::move(name), look.size, look.lastWriteTime, content.digests,
                      content.pe, matched, match, trace);
}

}  // namespace korvel
