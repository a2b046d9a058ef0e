#include "korvelctl/model/checked_file.h"

#include "base/paths.h"
#include "base/text.h"
#include "scan/scan_filter.h"

namespace korvel::ctl {

const char* walkScopeName(WalkScope scope) {
  switch (scope) {
    case WalkScope::kReached:
      return "";
    case WalkScope::kShortPath:
      return "short_path";
    case WalkScope::kRecycleBin:
      return "recycle_bin";
    case WalkScope::kNoName:
      return "no_name";
    case WalkScope::kSystemDataFile:
      return "system_data_file";
    case WalkScope::kKernelFile:
      return "kernel_file";
    case WalkScope::kNoExtension:
      return "no_extension";
    case WalkScope::kOtherExtension:
      return "extension";
    case WalkScope::kExcludedFolder:
      return "excluded_folder";
    case WalkScope::kLink:
      return "link";
    case WalkScope::kBehindLink:
      return "behind_link";
  }
  return "";
}

std::wstring excludedFolderOf(const std::wstring& path) {
  for (size_t end = rootLength(path); end < path.size(); ++end) {
    end = path.find_first_of(L"\\/", end);
    if (end == std::wstring::npos) break;
    std::wstring folder = path.substr(0, end);
    if (isExcludedDirectory(lowerWide(folder))) return folder;
  }
  return {};
}

WalkScope walkScopeOf(const std::wstring& path, bool isLink, bool behindLink) {
  if (isLink) return WalkScope::kLink;
  if (behindLink) return WalkScope::kBehindLink;
  if (!excludedFolderOf(path).empty()) return WalkScope::kExcludedFolder;
  switch (filterFile(path, ScanOptions{})) {
    case ScanFilterResult::kTaken:
      break;
    case ScanFilterResult::kShortPath:
      return WalkScope::kShortPath;
    case ScanFilterResult::kNeverScannedPlace:
      return WalkScope::kRecycleBin;
    case ScanFilterResult::kNoName:
      return WalkScope::kNoName;
    case ScanFilterResult::kSystemDataFile:
      return WalkScope::kSystemDataFile;
    case ScanFilterResult::kKernelFile:
      return WalkScope::kKernelFile;
    case ScanFilterResult::kNoExtension:
      return WalkScope::kNoExtension;
    case ScanFilterResult::kOtherExtension:
      return WalkScope::kOtherExtension;
  }
  return WalkScope::kReached;
}

const char* fileReadingName(FileReading reading) {
  switch (reading) {
    case FileReading::kWhole:
      return "";
    case FileReading::kMissing:
      return "missing";
    case FileReading::kEmpty:
      return "empty";
    case FileReading::kTooLarge:
      return "too_large";
    case FileReading::kElsewhere:
      return "content_elsewhere";
    case FileReading::kNotOpened:
      return "not_opened";
    case FileReading::kBroken:
      return "read_error";
  }
  return "";
}

CheckResult resultOf(const CheckDocument& document) {
  CheckResult result;
  for (const CheckedFile& file : document.files) {
    ++result.files;
    const Severity severity = file.verdict.severity;
    if (severity >= document.failOn) {
      ++result.found;
    } else if (severity >= kSeverityMedium) {
      ++result.suspicious;
    }
    if (!file.examined()) ++result.notExamined;
    const FileReading reading = file.trace.reading;
    if (reading == FileReading::kMissing || reading == FileReading::kNotOpened ||
        reading == FileReading::kBroken)
      ++result.unreadable;
  }
  return result;
}

}  // namespace korvel::ctl
