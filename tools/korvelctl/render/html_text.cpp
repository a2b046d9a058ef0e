#include "korvelctl/render/html_text.h"

#include "korvelctl/render/printable.h"

namespace korvel::ctl {
namespace {

std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      case '\'':
        result += "&#39;";
        break;
      default:
        result += c;
    }
  }
  return result;
}

}  // namespace

std::string html(std::string_view text) { return escaped(printable(text)); }
std::string html(std::wstring_view text) { return escaped(printable(text)); }

}  // namespace korvel::ctl
