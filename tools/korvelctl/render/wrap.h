// Wraps text at a width. Pure and thread-safe.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace korvel::ctl {

/// `text` in lines of at most `columns` characters (0 = without a limit), each ended by LF, broken at blanks.
/// The first begins with `first`, the others with as many blanks as `first` has characters. A word that is
/// longer than a line stays whole.
std::string wrapped(std::string_view text, size_t columns, std::string_view first = {});

}  // namespace korvel::ctl
