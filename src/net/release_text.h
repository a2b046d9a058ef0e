// The update server's release document. It is JSON, but it is read as text: two string members are looked for
// after one key, and nothing else has to be valid. Pure and thread-safe.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace korvel {

/// The first string that follows the first occurrence of "key" in double quotes and a colon. A backslash
/// takes the next character as it stands; no escape is translated. When the value is not a string, the search
/// goes on to the next quote. Absent when any of the pieces is missing, the closing quote included.
std::optional<std::string> jsonStringField(std::string_view text, std::string_view key);

struct WindowsRelease {
  std::string version;  ///< exactly as the document gives it
  std::string url;      ///< of the installer
};

/// Reads the section between the keys "windows" and "android" (or the end of the document). False with a text
/// for the user when the section or one of its two members is missing.
bool readWindowsRelease(std::string_view document, WindowsRelease& release, std::string* error);

/// True for at least 64 KiB that begin like a Windows executable. No more is checked: the user runs the
/// installer.
bool looksLikeInstaller(std::string_view body);

}  // namespace korvel
