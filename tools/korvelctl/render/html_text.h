// Text in an HTML page. Pure and thread-safe.
#pragma once

#include <string>
#include <string_view>

namespace korvel::ctl {

/// `text` (UTF-8) as the content of an element or of a quoted attribute. Control characters and marks that
/// reorder text become U+FFFD, and so do malformed bytes.
std::string html(std::string_view text);
std::string html(std::wstring_view text);

}  // namespace korvel::ctl
