// Which files are worth scanning, which directories are never entered, and what a directory entry is. Pure
// and thread-safe; word lists are built on first use.
#pragma once

#include <cstdint>
#include <string>

#include "scan/scan_records.h"

namespace korvel {

/// True when the file is worth scanning, judged by its path alone.
bool shouldScan(const std::wstring& path, const ScanOptions& options);

/// True when the lower-cased path begins with an excluded prefix. A plain prefix test: siblings whose names
/// merely begin the same are excluded too.
bool isExcludedDirectory(const std::wstring& lowerPath);

enum class EntryKind { kFile, kDirectory, kSymbolicLink, kJunction };

/// Classifies a directory entry by its FILE_ATTRIBUTE_ bits and, for a reparse point, its tag.
EntryKind classifyEntry(uint32_t attributes, uint32_t reparseTag);

/// True when the attributes say that reading the file would first fetch its content, from a cloud or a tape.
bool isContentElsewhere(uint32_t attributes);

}  // namespace korvel
