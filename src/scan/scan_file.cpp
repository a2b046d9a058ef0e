#include "scan/scan_file.h"

#include <optional>

#include "base/clock.h"
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

/// Shared for reading only, so that a file open for writing elsewhere is not scanned half-written.
class OpenedFile final : public FileBytes {
 public:
  explicit OpenedFile(const std::wstring& apiPath)
      : file_(::CreateFileW(apiPath.c_str(), GENERIC_READ, FILE_SHARE_READ, /*security=*/nullptr,
                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN,
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

/// Neither digests nor PE analysis for a file that cannot be opened, or whose bytes would first have to be
/// fetched.
FileContent contentOf(const ScanContext& context, const std::wstring& apiPath, DWORD attributes,
                      uint64_t size, ScanScratch& scratch, FileReading& reading) {
  reading = FileReading::kElsewhere;
  if (isContentElsewhere(attributes)) return {};
  OpenedFile file(apiPath);
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
                      VerdictTrace* trace) {
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
  const bool found = ::GetFileAttributesExW(apiPath.c_str(), GetFileExInfoStandard, &attributes) != FALSE;
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

  FileContent content = contentOf(context, apiPath, attributes.dwFileAttributes, size, scratch, reading);
  note(reading);
  if (trace != nullptr) explainPe(content.pe, unixSecondsNow());
  SignatureMatch match;
  const bool matched = content.digests && context.database->lookup(*content.digests, &match);
  return buildVerdict(path, fileName(path), size, lastWriteTime, content.digests, content.pe, matched, match,
                      trace == nullptr ? nullptr : &trace->rules);
}

}  // namespace

FileVerdict scanFile(const ScanContext& context, const std::wstring& path, ScanScratch& scratch) {
  return judgeFile(context, path, scratch, /*trace=*/nullptr);
}

FileVerdict explainFile(const ScanContext& context, const std::wstring& path, ScanScratch& scratch,
                        VerdictTrace& trace) {
  return judgeFile(context, path, scratch, &trace);
}

}  // namespace korvel
