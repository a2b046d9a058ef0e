// The records that one scan produces and passes between the file scanner, the verdict rules, the engine and
// the control channel. Plain values; user texts are UTF-8, paths UTF-16.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace korvel {

/// 0 "clean", 1 "low", 2 "medium", 3 "high", 4 "critical". A number and not an enumeration: files and
/// messages carry values beyond the scale, which print as "unknown".
using Severity = int32_t;
inline constexpr Severity kSeverityClean = 0;
inline constexpr Severity kSeverityLow = 1;
inline constexpr Severity kSeverityMedium = 2;
inline constexpr Severity kSeverityHigh = 3;
inline constexpr Severity kSeverityCritical = 4;

/// The name of a value of the scale, else "unknown". A static string.
const char* severityName(Severity severity);

/// The value of a name, in any ASCII case and compared whole; everything else, "clean" included, is 0.
Severity parseSeverity(std::string_view text);

struct ScanTarget {
  std::wstring path;       ///< a directory; a file yields nothing
  bool recursive = false;  ///< descend into subdirectories, or take only the direct entries

  bool operator==(const ScanTarget&) const = default;
};

struct ScanProgressInfo {
  uint64_t filesDone = 0;
  uint64_t filesTotal = 0;
  uint64_t bytesDone = 0;
  uint64_t bytesTotal = 0;
  std::wstring currentPath;  ///< the file being scanned; empty while counting
  std::wstring phase;        ///< "counting", "scanning", "finishing"; the engine adds states of its own

  bool operator==(const ScanProgressInfo&) const = default;
};

/// One rule hit inside a verdict.
struct Finding {
  Severity severity = kSeverityClean;
  std::string code;    ///< "SIG.MATCH", "FS.DOUBLE_EXT", "PE.PACKED"
  std::string title;   ///< short Russian headline
  std::string detail;  ///< Russian explanation with the file's own values

  bool operator==(const Finding&) const = default;
};

/// What a signature lookup returns. A default-constructed record is the cleared one: no texts, severity 3.
struct SignatureMatch {
  std::string threatName;
  std::string family;
  Severity severity = kSeverityHigh;
  std::string reference;
  std::string hash;  ///< the lower-case digest that matched

  bool operator==(const SignatureMatch&) const = default;
};

/// The result of scanning one file.
struct FileVerdict {
  std::wstring path;
  std::wstring fileName;
  uint64_t size = 0;           ///< bytes, from the file's attributes
  uint64_t lastWriteTime = 0;  ///< FILETIME ticks
  std::string md5;             ///< lower-case hexadecimal; empty when not computed
  std::string sha1;
  std::string sha256;
  bool isPe = false;
  bool packed = false;
  double peEntropy = 0.0;            ///< bits per byte, 0 to 8
  double peMaxSectionEntropy = 0.0;  ///< bits per byte, 0 to 8
  int32_t peSectionCount = 0;
  int32_t peImportCount = 0;
  bool peHasDebug = false;
  bool peHasResources = false;
  bool signatureMatched = false;
  std::string threatName;
  std::string family;
  Severity threatSeverity = kSeverityHigh;
  std::string reference;
  std::string matchedHash;
  std::vector<Finding> findings;  ///< in the order of evaluation
  Severity severity = kSeverityClean;
  std::vector<std::string> reasons;  ///< short headlines; also the note of a skipped file

  bool operator==(const FileVerdict&) const = default;
};

struct ScanSummary {
  uint64_t filesScanned = 0;
  uint64_t threats = 0;
  uint64_t suspicious = 0;
  uint64_t bytesScanned = 0;
  uint64_t elapsedMs = 0;
  bool cancelled = false;

  bool operator==(const ScanSummary&) const = default;
};

/// Counts one verdict: a listed file is a threat at any severity, a skipped file counts with its size.
void addToSummary(const FileVerdict& verdict, ScanSummary& summary);

/// As many workers as the process may use processors, at most 4; none where there is only one.
inline constexpr size_t kWorkersByProcessors = SIZE_MAX;

/// How one scan job reads and filters files; fixed for the life of a scanner.
struct ScanOptions {
  bool followSymlinks = false;
  bool scanArchives = false;  ///< carried; the scanner does not look into archives
  bool skipKernelFiles = true;
  uint64_t maxFileSize = 536'870'912;  ///< bytes; larger files are not read
  uint64_t readChunk = 1'048'576;      ///< bytes
  /// Threads that read and hash ahead of the walk; 0 scans on the calling thread. Changes no result.
  size_t workers = kWorkersByProcessors;
};

}  // namespace korvel
