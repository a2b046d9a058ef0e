// Writes lines for a user at a console. The executable belongs to the GUI subsystem, so the standard output
// may be missing or redirected.
#pragma once

#include <string>

namespace korvel {

/// Writes `text` and CR LF to the standard output or, if there is none, to the attached console. A redirected
/// output receives UTF-8. Without either, the line is dropped. Not thread-safe.
void writeConsoleLine(const std::wstring& text);

}  // namespace korvel
