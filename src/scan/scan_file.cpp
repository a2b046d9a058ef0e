#include "scan/scan_file.h"

#include <utility>

#include "base/clock.h"
#include "base/interruptible_io.h"
#include "pe/pe_analysis.h"
#include "scan/file_steps.h"

namespace korvel {
namespace {

/// What a verdict rests on when `use` keeps the file from being read.
FileReading readingWithout(FileUse use) {
  switch (use) {
    case FileUse::kMissing:
      return FileReading::kMissing;
    case FileUse::kNothing:
      return FileReading::kEmpty;
    case FileUse::kSkip:
      return FileReading::kTooLarge;
    case FileUse::kJudgeName:
    case FileUse::kRead:
      break;
  }
  return FileReading::kElsewhere;
}

/// Reads a file that is to be read, and notes how that went.
FileContent contentOf(const ScanContext& context, const FileLook& look, ScanScratch& scratch,
                      VerdictTrace& trace) {
  OpenedFile file(*context.calls, look.apiPath);
  if (!file) {
    trace = {
        .reading = FileReading::kNotOpened, .win32 = static_cast<uint32_t>(::GetLastError()), .rules = {}};
    return {};
  }
  FileContent content = readContent(file, look.size, context, scratch);
  trace.reading = content.complete ? FileReading::kWhole : FileReading::kBroken;
  if (!content.complete) trace.win32 = static_cast<uint32_t>(::GetLastError());
  return content;
}

bool isHeld(const VerdictTrace& trace) {
  return trace.reading == FileReading::kNotOpened &&
         (trace.win32 == ERROR_SHARING_VIOLATION || trace.win32 == ERROR_LOCK_VIOLATION);
}

/// Notes the rules only where `explain` is set, as that takes time.
FileVerdict scanAndTrace(const ScanContext& context, const std::wstring& path, ScanScratch& scratch,
                         std::optional<uint32_t> listedAttributes, VerdictTrace& trace, bool explain) {
  const InterruptibleIo interruptible(context.abandoned);
  FileLook look = lookAt(context, path, listedAttributes);
  trace = {.reading = readingWithout(look.use), .win32 = look.win32, .rules = {}};
  FileContent content;  // without digests where nothing is read
  if (look.use == FileUse::kRead) content = contentOf(context, look, scratch, trace);
  if (explain) explainPe(content.pe, unixSecondsNow());
  FileVerdict verdict = judgeFile(context, std::move(look), content, explain ? &trace.rules : nullptr);
  verdict.held = isHeld(trace);
  return verdict;
}

}  // namespace

FileVerdict scanFile(const ScanContext& context, const std::wstring& path, ScanScratch& scratch,
                     std::optional<uint32_t> listedAttributes) {
  VerdictTrace ignored;
  return scanAndTrace(context, path, scratch, listedAttributes, ignored, /*explain=*/false);
}

FileVerdict explainFile(const ScanContext& context, const std::wstring& path, ScanScratch& scratch,
                        VerdictTrace& trace) {
  return scanAndTrace(context, path, scratch, std::nullopt, trace, /*explain=*/true);
}

}  // namespace korvel
