// Lines for a person at a console. The executable belongs to the GUI subsystem, so the standard output may
// be missing or redirected.
#pragma once

#include <string>

namespace korvel {

/// Writes `text` and CR LF to the standard output, or to the attached console where there is none. A
/// redirected output receives UTF-8. Without any console the line is dropped. Not thread-safe.
void writeConsoleLine(const std::wstring& text);

}  // namespace korvel
