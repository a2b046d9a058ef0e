// Which files are worth scanning, which directories are never entered, and what a directory entry is. Pure
// and thread-safe; word lists are built on first use.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "scan/scan_records.h"

namespace korvel {

/// Why a walk takes a file or passes it over.
enum class ScanFilterResult {
  kTaken,
  kShortPath,          ///< less than five characters
  kNeverScannedPlace,  ///< in a recycle bin or among the volume information
  kNoName,             ///< the path ends in a separator
  kSystemDataFile,     ///< "pagefile.sys" and the like
  kKernelFile,         ///< "ntoskrnl.exe" and the like
  kNoExtension,
  kOtherExtension,  ///< not one of scannedExtensions()
};

/// Judges a file by its path alone.
ScanFilterResult filterFile(const std::wstring& path, const ScanOptions& options);

/// True when the file is worth scanning: filterFile() takes it.
bool shouldScan(const std::wstring& path, const ScanOptions& options);

/// True when the lower-cased path begins with an excluded prefix. A plain prefix test: siblings whose names
/// merely begin the same are excluded too.
bool isExcludedDirectory(const std::wstring& lowerPath);

/// The extensions of the files that are scanned, lower-case, each with its dot. Static texts.
std::vector<std::wstring_view> scannedExtensions();

enum class EntryKind { kFile, kDirectory, kSymbolicLink, kJunction };

/// Classifies a directory entry by its FILE_ATTRIBUTE_ bits and, for a reparse point, its tag.
EntryKind classifyEntry(uint32_t attributes, uint32_t reparseTag);

/// True when the attributes say that reading the file would first fetch its content, from a cloud or a tape.
bool isContentElsewhere(uint32_t attributes);

}  // namespace korvel
