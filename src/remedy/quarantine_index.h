// The text of quarantine.db. Pure and thread-safe.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "records/quarantine_record.h"

namespace korvel {

/// Reads leniently: the header is not checked, lines without "=" and unknown keys are skipped, a block
/// without a non-zero ID is dropped. storedFileExists stays false; the caller asks the disk.
std::vector<QuarantineRecord> parseQuarantineIndex(std::string_view text);

/// The header and one block of ten lines and an empty line per record.
std::string formatQuarantineIndex(const std::vector<QuarantineRecord>& records);

/// A text from a client with blanks in the place of control characters, which would break the lines of a
/// record.
std::string recordText(std::string text);

/// The same for a path. The file API resolves "<anything>\\..", so such a path can name a file that exists.
std::wstring recordPath(std::wstring path);

/// "<time>_<first 16 characters of sha256>_<name>". Characters of the hash that no file name may hold become
/// "_", so the result does not leave the folder.
std::wstring quarantinedFileName(uint64_t time, const std::string& sha256, const std::wstring& name);

}  // namespace korvel
