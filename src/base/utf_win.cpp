#include "base/utf.h"

#include <limits>
#include <stdexcept>

#include "base/win.h"

namespace korvel {
namespace {

int checkedLength(size_t length) {
  if (length > static_cast<size_t>(std::numeric_limits<int>::max())) {
    throw std::length_error("text too long to convert");
  }
  return static_cast<int>(length);
}

}  // namespace

std::string toUtf8(std::wstring_view text) {
  if (text.empty()) return {};
  const int units = checkedLength(text.size());
  const int bytes = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
  std::string result(static_cast<size_t>(bytes), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text.data(), units, result.data(), bytes, nullptr, nullptr);
  return result;
}

std::wstring toWide(std::string_view text) {
  if (text.empty()) return {};
  const int bytes = checkedLength(text.size());
  const int units = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, nullptr, 0);
  std::wstring result(static_cast<size_t>(units), L'\0');
  ::MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, result.data(), units);
  return result;
}

}  // namespace korvel
