// One folder in the text of the PATH variable. Everything else in the text is kept as it is, empty entries
// and references to other variables included. Pure and thread-safe.
#pragma once

#include <string>
#include <string_view>

namespace korvel::ctl {

/// `path` with `folder` as its last entry; unchanged when the folder is in it already. Letters are compared
/// without their case, and quotation marks and a backslash at the end do not matter. A quotation mark that is
/// still open at the end of `path` is closed.
std::wstring withSearchFolder(std::wstring_view path, std::wstring_view folder);

/// `path` without the entries that are `folder`; unchanged when there is none.
std::wstring withoutSearchFolder(std::wstring_view path, std::wstring_view folder);

}  // namespace korvel::ctl
