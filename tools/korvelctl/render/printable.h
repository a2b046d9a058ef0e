// Makes text from files and file names safe to show on a terminal. Pure and thread-safe.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace korvel::ctl {

/// `text` (UTF-8) with every control character and every mark that reorders text replaced by U+FFFD: a file
/// name must neither move the cursor nor show "exe.pdf" for "fdp.exe". Malformed bytes are replaced too.
std::string printable(std::string_view text);
std::string printable(std::wstring_view text);

/// How many characters `text` (UTF-8) takes on the screen: the number of its code points.
size_t columnsOf(std::string_view text);

/// At most `columns` characters of `text`; the middle of a longer text is replaced by "...", so that both the
/// drive and the name of a path stay readable.
std::string shortened(std::string_view text, size_t columns);

}  // namespace korvel::ctl
