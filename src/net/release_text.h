// The update server's release document. It is JSON, but it is read as text: two string members are looked
// for behind one key, and nothing else has to be valid. Pure and thread-safe.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace korvel {

/// The first string that follows the first occurrence of "key" in double quotes and a colon. A backslash
/// takes the next character as it stands; no escape is translated. A value that is no string makes the search
/// go on to the next quote. Absent when any of the pieces is missing, the closing quote included.
std::optional<std::string> jsonStringField(std::string_view text, std::string_view key);

struct WindowsRelease {
  std::string version;  ///< exactly as the document gives it
  std::string url;      ///< of the installer
};

/// Reads the section between the keys "windows" and "android" (or the end of the document). False with a text
/// for the user when the section or one of its two members is missing.
bool readWindowsRelease(std::string_view document, WindowsRelease& release, std::string* error);

/// At least 64 KiB that begin like a Windows executable: more is not checked, the user runs the installer.
bool looksLikeInstaller(std::string_view body);

}  // namespace korvel
