// The files of the quarantine, as far as the caller may look at them. Thread-safe.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "korvelctl/model/quarantine_check.h"

namespace korvel::ctl {

/// The files in `folder` with their sizes and without digests; nothing when it cannot be listed. A folder
/// that does not exist holds none.
std::optional<std::vector<StoredFile>> listStoredFiles(const std::wstring& folder);

IndexState readIndexState(const std::wstring& folder);

}  // namespace korvel::ctl
