// The records that a directory change notification leaves in its buffer (FILE_NOTIFY_INFORMATION): chained,
// each with an action and a name relative to the watched root. Pure and thread-safe.
//
//   offset size field
//        0    4 offset of the next record from this one; 0 = last
//        4    4 action (created, removed, modified, renamed: all are treated alike)
//        8    4 length of the name in bytes
//       12    n name, UTF-16, not terminated
#pragma once

#include <string>
#include <vector>

#include "base/byte_view.h"

namespace korvel::svc {

/// The names in order, without empty ones and those that begin with "." (only the first character of the
/// relative name counts: changes in "a\.git" are reported). Reading ends at the first malformed record.
std::vector<std::wstring> changedNames(ByteView records);

}  // namespace korvel::svc
