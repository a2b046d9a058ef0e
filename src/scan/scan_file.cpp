#include "scan/scan_file.h"

#include <utility>

#include "base/interruptible_io.h"
#include "scan/file_steps.h"

namespace korvel {

FileVerdict scanFile(const ScanContext& context, const std::wstring& path, ScanScratch& scratch,
                     std::optional<uint32_t> listedAttributes) {
  const InterruptibleIo interruptible(context.abandoned);
  FileLook look = lookAt(context, path, listedAttributes);
  FileContent content;  // without digests where nothing is read
  bool held = false;
  if (look.use == FileUse::kRead) {
    OpenedFile file(*context.calls, look.apiPath);
    if (file) {
      content = readContent(file, look.size, context, scratch);
    } else {
      const DWORD code = ::GetLastError();
      held = code == ERROR_SHARING_VIOLATION || code == ERROR_LOCK_VIOLATION;
    }
  }
  FileVerdict verdict = judgeFile(context, std::move(look), content);
  verdict.held = held;
  return verdict;
}

}  // namespace korvel
