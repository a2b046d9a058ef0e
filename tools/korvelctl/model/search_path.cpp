#include "korvelctl/model/search_path.h"

#include <algorithm>
#include <vector>

#include "base/text.h"

namespace korvel::ctl {
namespace {

/// The entries with their quotation marks. A semicolon between such marks belongs to its entry.
std::vector<std::wstring_view> entriesOf(std::wstring_view path) {
  std::vector<std::wstring_view> entries;
  size_t begin = 0;
  bool quoted = false;
  for (size_t i = 0; i < path.size(); ++i) {
    if (path[i] == L'"') quoted = !quoted;
    if (path[i] != L';' || quoted) continue;
    entries.push_back(path.substr(begin, i - begin));
    begin = i + 1;
  }
  entries.push_back(path.substr(begin));
  return entries;
}

std::wstring comparable(std::wstring_view entry) {
  std::wstring text = lowerWide(entry);
  std::erase(text, L'"');
  while (!text.empty() && text.back() == L'\\') text.pop_back();
  return text;
}

}  // namespace

std::wstring withSearchFolder(std::wstring_view path, std::wstring_view folder) {
  const std::wstring wanted = comparable(folder);
  const auto entries = entriesOf(path);
  const auto same = [&wanted](std::wstring_view entry) { return comparable(entry) == wanted; };
  std::wstring text(path);
  if (wanted.empty() || std::any_of(entries.begin(), entries.end(), same)) return text;
  // The folder would else belong to the entry whose quotation mark is still open.
  const bool open = std::count(path.begin(), path.end(), L'"') % 2 != 0;
  if (open) text += L'"';
  if (!text.empty() && text.back() != L';') text += L';';
  const bool needsQuotes = folder.find(L';') != folder.npos;
  if (needsQuotes) text += L'"';
  text += folder;
  if (needsQuotes) text += L'"';
  return text;
}

std::wstring withoutSearchFolder(std::wstring_view path, std::wstring_view folder) {
  const std::wstring unwanted = comparable(folder);
  if (unwanted.empty()) return std::wstring(path);
  std::wstring text;
  bool first = true;
  for (const std::wstring_view entry : entriesOf(path)) {
    if (comparable(entry) == unwanted) continue;
    if (!first) text += L';';
    text += entry;
    first = false;
  }
  return text;
}

}  // namespace korvel::ctl
