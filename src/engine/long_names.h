// Names as the file system stores them, in place of the short ones (`INVOIC~1.EXE`) that a notification may
// carry: rules look at the long name. Thread-safe.
#pragma once

#include <string>

namespace korvel::svc {

/// `name`, a path below `root`, with each short component in its long form. A component that does not exist
/// (any more) stays as it is.
std::wstring withLongNames(const std::wstring& root, const std::wstring& name);

}  // namespace korvel::svc
