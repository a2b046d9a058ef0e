// How functions report failure: they return false and, when the caller passes an `error`, store a text in it.
//
// `error` may be null and is written only on failure. The Windows variants read the last-error value first
// and leave it set for the caller.
#pragma once

#include <string>
#include <system_error>
#include <utility>

namespace korvel {

/// Stores `text` unless `error` is null. Returns false, so that a failing path is one line.
inline bool fail(std::string* error, std::string text) {
  if (error != nullptr) *error = std::move(text);
  return false;
}

#ifdef _WIN32
/// `text` followed by ", win32=" and the last-error value in decimal.
bool failWin32(std::string* error, const std::string& text);
/// `text` followed by " (win32=", the last-error value in decimal and ")": the form that pipe errors use.
bool setWin32Error(std::string* error, const std::string& text);

/// The category for exceptions that carry a last-error value: their text then ends in "win32=<code>". Texts
/// of std::system_category() come in the machine's language and code page, and must not reach a log or a
/// client.
const std::error_category& win32Category();
#endif

}  // namespace korvel
