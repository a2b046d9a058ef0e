// The steps of scanning one file: look, open and read, judge. scan_file.h takes them one file at a time,
// walked_files.h many.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/unique_resource.h"
#include "pe/rule_sheet.h"
#include "scan/file_content.h"
#include "scan/scan_context.h"
#include "scan/scan_records.h"

namespace korvel {

/// What is to be done with a file, by its attributes.
enum class FileUse {
  kMissing,    ///< there is none, or its attributes cannot be read
  kNothing,    ///< it is empty
  kSkip,       ///< it is above the size limit
  kJudgeName,  ///< reading it would first fetch its content
  kRead,
};

struct FileLook {
  std::wstring path;
  std::wstring apiPath;
  uint64_t size = 0;           ///< bytes, by the attributes
  uint64_t lastWriteTime = 0;  ///< FILETIME ticks
  FileUse use = FileUse::kNothing;
  uint32_t win32 = 0;  ///< of kMissing
};

/// `listedAttributes` as for scanFile(). Never throws for a file whose attributes cannot be read.
FileLook lookAt(const ScanContext& context, const std::wstring& path,
                std::optional<uint32_t> listedAttributes);

/// A file that is open for reading. Shared for reading only, so that a file open for writing elsewhere is not
/// scanned half-written. Content that moves to another place between the look at the attributes and the
/// opening is not recalled either.
class OpenedFile final : public FileBytes {
 public:
  /// Sets the last error where it cannot be opened.
  OpenedFile(const FileCalls& calls, const std::wstring& apiPath);

  explicit operator bool() const { return static_cast<bool>(file_); }
  std::optional<size_t> read(uint8_t* to, size_t bytes) override;
  void rewind() override;

 private:
  const UniqueHandle file_;
};

/// The verdict of a file and its content, which is without digests where nothing was read. `trace`, when
/// given, gets every rule that was evaluated.
FileVerdict judgeFile(const ScanContext& context, FileLook look, const FileContent& content,
                      RuleTrace* trace = nullptr);

}  // namespace korvel
