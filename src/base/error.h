// The one shape of failure in this code base: a false result and, where the caller asked, a text.
//
// `error` may be null and is written only on failure. The Windows forms read the last-error value first
// and leave it set for the caller.
#pragma once

#include <string>
#include <utility>

namespace korvel {

/// Stores `text` when asked for and returns false, so that a failing path is one line.
inline bool fail(std::string* error, std::string text) {
  if (error != nullptr) *error = std::move(text);
  return false;
}

#ifdef _WIN32
/// `text` followed by ", win32=" and the last-error value in decimal.
bool failWin32(std::string* error, const std::string& text);
/// `text` followed by " (win32=", the last-error value in decimal and ")": the form of the pipe protocol.
bool setWin32Error(std::string* error, const std::string& text);
#endif

}  // namespace korvel
