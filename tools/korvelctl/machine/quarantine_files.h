// The files of the quarantine's folder, read with the caller's own rights. Thread-safe.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "korvelctl/model/quarantine_check.h"

namespace korvel::ctl {

/// Whether to read each file for its digest.
enum class Digests { kComputed, kLeftOut };

/// The files of a folder. Nothing where it cannot be listed.
std::optional<std::vector<StoredFile>> storedFilesIn(const std::wstring& folder,
                                                     Digests digests = Digests::kComputed);

struct IndexOnDisk {
  IndexState state = IndexState::kNotLookedAt;
  std::optional<std::string> text;  ///< where it could be read
};
/// The index of the quarantine in `folder`.
IndexOnDisk readIndexIn(const std::wstring& folder);

/// Lower-case SHA-256; nothing where the file cannot be read to its end.
std::optional<std::string> sha256Of(const std::wstring& path);

}  // namespace korvel::ctl
