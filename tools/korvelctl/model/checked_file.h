// What the client's own look at a file has shown: the verdict of the product's own rules, on how much of the
// file it rests, and whether a scan of its folder would reach it. Plain values and pure functions;
// thread-safe.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "korvelctl/model/item_error.h"
#include "scan/verdict_trace.h"
#include "scan/scan_records.h"

namespace korvel::ctl {

/// Whether a walk hands a file out.
enum class WalkScope {
  kReached,
  kShortPath,
  kRecycleBin,  ///< or the volume information
  kNoName,
  kSystemDataFile,
  kKernelFile,
  kNoExtension,
  kOtherExtension,
  kExcludedFolder,
  kLink,        ///< the file is a symbolic link
  kBehindLink,  ///< a folder above it is a link or a junction
};

/// "extension", "excluded_folder", "link" and so on; empty for kReached. A static text.
const char* walkScopeName(WalkScope scope);

/// Judges a whole path, with backslashes. The two answers come from the file system. A scan whose target is
/// the excluded folder itself, or lies in it, reaches the file all the same.
WalkScope walkScopeOf(const std::wstring& path, bool isLink, bool behindLink);

/// The folder of `path` that no walk enters, as it is spelled there; empty when it has none.
std::wstring excludedFolderOf(const std::wstring& path);

struct CheckedFile {
  FileVerdict verdict;  ///< `path` is whole
  VerdictTrace trace;
  WalkScope scope = WalkScope::kReached;
  /// What the databases say of each digest; false also where it was not computed.
  bool md5Listed = false;
  bool sha1Listed = false;
  bool sha256Listed = false;

  /// Whether "nothing found" may be said of it: every byte was read.
  bool examined() const { return trace.reading == FileReading::kWhole; }
};

/// "missing", "empty", "too_large", "content_elsewhere", "not_opened", "read_error"; empty for a whole file.
/// A static text.
const char* fileReadingName(FileReading reading);

/// One database that was loaded, or was to be.
struct UsedDatabase {
  std::wstring path;
  bool loaded = false;

  bool operator==(const UsedDatabase&) const = default;
};

struct CheckDocument {
  std::vector<CheckedFile> files;
  std::vector<UsedDatabase> databases;
  uint64_t signatureCount = 0;
  std::string signatureVersion;
  bool explain = false;
  Severity failOn = kSeverityHigh;
};

/// How a check of files ends.
struct CheckResult {
  uint64_t files = 0;
  uint64_t found = 0;        ///< at or above `failOn`
  uint64_t suspicious = 0;   ///< severity 2 and above, but below `failOn`
  uint64_t notExamined = 0;  ///< of any reason
  uint64_t unreadable = 0;   ///< missing, not opened or broken: a failure
};
CheckResult resultOf(const CheckDocument& document);

}  // namespace korvel::ctl
