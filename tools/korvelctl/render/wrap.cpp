#include "korvelctl/render/wrap.h"

#include "korvelctl/render/printable.h"

namespace korvel::ctl {

std::string wrapped(std::string_view text, size_t columns, std::string_view first) {
  const size_t indent = columnsOf(first);
  std::string result, line(first);
  size_t used = indent;
  bool anyWord = false;
  while (!text.empty()) {
    const size_t end = text.find(' ');
    const std::string_view word = text.substr(0, end);
    text = end == text.npos ? std::string_view() : text.substr(end + 1);
    const size_t width = columnsOf(word);
    if (anyWord && columns != 0 && used + 1 + width > columns) {
      result += line + "\n";
      line = std::string(indent, ' ');
      used = indent;
      anyWord = false;
    }
    if (anyWord) {
      line += ' ';
      ++used;
    }
    line += word;
    used += width;
    anyWord = true;
  }
  return result + line + "\n";
}

}  // namespace korvel::ctl
