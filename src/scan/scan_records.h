// The input of a scan and its result for each file. Plain values; user texts are UTF-8, paths UTF-16. The
// records that go on to clients are in records/.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/sizes.h"
#include "records/finding.h"
#include "records/scan_progress.h"
#include "records/severity.h"

namespace korvel {

struct ScanTarget {
  std::wstring path;       ///< a directory; a file yields nothing
  bool recursive = false;  ///< descend into subdirectories, or take only the direct entries

  bool operator==(const ScanTarget&) const = default;
};

/// The result of scanning one file.
struct FileVerdict {
  std::wstring path;
  std::wstring fileName;
  uint64_t size = 0;           ///< bytes, from the file's attributes
  uint64_t lastWriteTime = 0;  ///< FILETIME ticks
  bool held = false;           ///< another program keeps it from being opened; only its name was judged
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

/// Counts one verdict: a listed file is a threat at any severity, a skipped file counts with its size.
void addToSummary(const FileVerdict& verdict, ScanSummary& summary);

/// One worker per processor that the process may use, at most 4; none with a single processor.
inline constexpr size_t kWorkersByProcessors = SIZE_MAX;

/// How one scan job reads and filters files; fixed for the life of a scanner.
struct ScanOptions {
  bool followSymlinks = false;
  bool scanArchives = false;  ///< carried; the scanner does not look into archives
  bool skipKernelFiles = true;
  uint64_t maxFileSize = 536'870'912;  ///< bytes; larger files are not read
  uint64_t readChunk = 1 * kMiB;       ///< bytes
  /// Threads that read and hash files ahead of their turn; 0 scans on the calling thread. Changes no result.
  size_t workers = kWorkersByProcessors;
  /// Give way to every other program: the threads run in background mode. Changes no result.
  bool inBackground = false;
};

}  // namespace korvel
