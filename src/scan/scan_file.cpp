#include "scan/scan_file.h"

#include <optional>

#include "base/clock.h"
#include "base/files.h"
#include "base/interruptible_io.h"
#include "base/long_path.h"
#include "base/paths.h"
#include "base/unique_resource.h"
#include "pe/pe_analysis.h"
#include "scan/file_content.h"
#include "scan/file_rules.h"
#include "scan/scan_filter.h"
#include "signatures/signature_database.h"

namespace korvel {
namespace {

constexpr const char* kSkippedForSize = "Файл пропущен: превышен лимит размера";

/// Shared for reading only, so that a file open for writing elsewhere is not scanned half-written. Content
/// that moves to another place between the look at the attributes and the opening is not recalled either.
class OpenedFile final : public FileBytes {
 public:
  OpenedFile(const FileCalls& calls, const std::wstring& apiPath)
      : file_(calls.createFile(
            apiPath.c_str(), GENERIC_READ, FILE_SHARE_READ, /*security=*/nullptr, OPEN_EXISTING,
            FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN | FILE_FLAG_OPEN_NO_RECALL | kOpenAnonymously,
            /*template=*/nullptr)) {}

  explicit operator bool() const { return static_cast<bool>(file_); }

  std::optional<size_t> read(uint8_t* to, size_t bytes) override {
    DWORD got = 0;
    if (!::ReadFile(file_.get(), to, static_cast<DWORD>(bytes), &got, /*overlapped=*/nullptr)) return {};
    return got;
  }
  void rewind() override {
    (void)::SetFilePointerEx(file_.get(), LARGE_INTEGER{}, /*newPosition=*/nullptr, FILE_BEGIN);
  }

 private:
  const UniqueHandle file_;
};

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

/// Empty for a file that cannot be opened, with the reason in GetLastError().
FileContent contentOf(const ScanContext& context, const std::wstring& apiPath, uint64_t size,
                      ScanScratch& scratch, FileReading& reading) {
  OpenedFile file(*context.calls, apiPath);
  reading = FileReading::kNotOpened;
  if (!file) return {};
  FileContent content = readContent(file, size, context, scratch);
  reading = content.complete ? FileReading::kWhole : FileReading::kBroken;
  return content;
}

uint64_t joined(DWORD high, DWORD low) { return static_cast<uint64_t>(high) << 32 | low; }

/// Which reading a size alone decides; kWhole where the file is to be read.
FileReading readingBySize(uint64_t size, const ScanContext& context) {
  if (size == 0) return FileReading::kEmpty;
  return size > context.maxFileSize ? FileReading::kTooLarge : FileReading::kWhole;
}

/// `trace` may be null.
FileVerdict judgeFile(const ScanContext& context, const std::wstring& path, ScanScratch& scratch,
                      std::optional<uint32_t> listedAttributes, VerdictTrace* trace) {
  const InterruptibleIo interruptible(context.abandoned);
  const auto note = [trace](FileReading how) {
    const DWORD code = ::GetLastError();
    if (trace == nullptr) return;
    const bool failed =
        how == FileReading::kMissing || how == FileReading::kNotOpened || how == FileReading::kBroken;
    *trace = {.reading = how, .win32 = failed ? static_cast<uint32_t>(code) : 0, .rules = {}};
  };
  const std::wstring apiPath = forFileApi(path);
  WIN32_FILE_ATTRIBUTE_DATA attributes{};  // all zero where they cannot be read
  const bool found =
      context.calls->getFileAttributes(apiPath.c_str(), GetFileExInfoStandard, &attributes) != FALSE;
  if (!found) note(FileReading::kMissing);
  const uint64_t size = joined(attributes.nFileSizeHigh, attributes.nFileSizeLow);
  const uint64_t lastWriteTime =
      joined(attributes.ftLastWriteTime.dwHighDateTime, attributes.ftLastWriteTime.dwLowDateTime);
  FileReading reading = readingBySize(size, context);
  if (reading != FileReading::kWhole) {
    if (found) note(reading);
    FileVerdict verdict;
    verdict.path = path;
    verdict.fileName = fileName(path);
    verdict.size = size;
    verdict.lastWriteTime = lastWriteTime;
    if (reading == FileReading::kTooLarge) verdict.reasons.emplace_back(kSkippedForSize);
    return verdict;
  }

  FileContent content;  // without digests where nothing is read
  bool held = false;
  reading = FileReading::kElsewhere;
  if (!isElsewhere(context, apiPath, attributes.dwFileAttributes, listedAttributes)) {
    content = contentOf(context, apiPath, size, scratch, reading);
    const DWORD code = ::GetLastError();
    held = reading == FileReading::kNotOpened &&
           (code == ERROR_SHARING_VIOLATION || code == ERROR_LOCK_VIOLATION);
  }
  note(reading);
  if (trace != nullptr) explainPe(content.pe, unixSecondsNow());
  SignatureMatch match;
  const bool matched = content.digests && context.database->lookup(*content.digests, &match);
  FileVerdict verdict = buildVerdict(path, fileName(path), size, lastWriteTime, content.digests, content.pe,
                                     matched, match, trace == nullptr ? nullptr : &trace->rules);
  verdict.held = held;
  return verdict;
}

}  // namespace

FileVerdict scanFile(const ScanContext& context, const std::wstring& path, ScanScratch& scratch,
                     std::optional<uint32_t> listedAttributes) {
  return judgeFile(context, path, scratch, listedAttributes, /*trace=*/nullptr);
}

FileVerdict explainFile(const ScanContext& context, const std::wstring& path, ScanScratch& scratch,
                        VerdictTrace& trace) {
  return judgeFile(context, path, scratch, /*listedAttributes=*/std::nullopt, &trace);
}

}  // namespace korvel
