#include "korvelctl/render/listing.h"

#include <algorithm>

#include "base/text.h"
#include "base/utf.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/texts.h"
#include "korvelctl/render/wrap.h"

namespace korvel::ctl {
namespace {

/// A path that would get less room than this has a line of its own.
constexpr size_t kLeastListedPathColumns = 24;
constexpr char kNoteIndent[] = "    ";

std::string upperCased(const char* title) {
  // The titles are ASCII or Cyrillic; lowerWide() is the only case mapping that is the same on every machine.
  std::wstring text = toWide(title);
  for (wchar_t& unit : text) {
    if (unit == 0x0451) unit = 0x0401;
    if (unit >= 0x0430 && unit <= 0x044F) unit = static_cast<wchar_t>(unit - 0x20);
    if (unit >= L'a' && unit <= L'z') unit = static_cast<wchar_t>(unit - 0x20);
  }
  return toUtf8(text);
}

std::string padding(size_t width, const std::string& text) {
  const size_t own = columnsOf(text);
  return std::string(own < width ? width - own : 0, ' ');
}

}  // namespace

void Listing::addRow(std::vector<Cell> cells) {
  cells.resize(columns_.size(), Cell(std::string()));
  lines_.push_back({std::move(cells), {}});
}

void Listing::addNote(std::string text) { lines_.push_back({{}, std::move(text)}); }

std::string Listing::tableRow(const std::vector<Cell>& cells, const std::vector<size_t>& widths,
                              const Look& look) const {
  std::string row;
  size_t used = 0;
  for (size_t i = 0; i < cells.size(); ++i) {
    const bool last = i + 1 == cells.size();
    std::string shown = cells[i].shown;
    if (i > 0) {
      row += "  ";
      used += 2;
    }
    const bool path = columns_[i].kind == Kind::kPath && look.columns != 0;
    if (path && used + columnsOf(shown) > look.columns) {
      if (used + kLeastListedPathColumns <= look.columns) {
        shown = shortened(shown, look.columns - used);
      } else {
        row.erase(row.find_last_not_of(' ') + 1);
        row += "\n" + std::string(kNoteIndent);
        shown = shortened(shown, look.columns - 4);
      }
    }
    const std::string blanks = padding(widths[i], shown);
    const std::string text = cells[i].severity ? colored(shown, *cells[i].severity, look) : shown;
    if (columns_[i].kind == Kind::kNumber)
      row += blanks + text;
    else
      row += last ? text : text + blanks;
    used += std::max(widths[i], columnsOf(shown));
  }
  row.erase(row.find_last_not_of(' ') + 1);
  return row + "\n";
}

std::string Listing::table(const Look& look) const {
  if (lines_.empty()) return {};
  std::vector<Cell> titles;
  std::vector<size_t> widths;
  for (const Column& column : columns_) {
    titles.emplace_back(upperCased(column.title.in(look.language)));
    widths.push_back(columnsOf(titles.back().shown));
  }
  for (const Line& line : lines_) {
    for (size_t i = 0; i < line.cells.size(); ++i)
      widths[i] = std::max(widths[i], columnsOf(line.cells[i].shown));
  }
  std::string text = tableRow(titles, widths, look);
  for (const Line& line : lines_)
    text += line.cells.empty() ? wrapped(line.note, look.columns, kNoteIndent)
                               : tableRow(line.cells, widths, look);
  return text;
}

std::string Listing::list(const Look& look) const {
  std::string text;
  for (const Line& line : lines_) {
    if (line.cells.empty()) {
      text += wrapped(line.note, look.columns, kNoteIndent);
      continue;
    }
    if (!text.empty()) text += "\n";
    Facts facts;
    for (size_t i = 0; i < columns_.size(); ++i)
      facts.add(std::string(columns_[i].title.in(look.language)) + ":", line.cells[i].shown);
    text += facts.text(look);
  }
  return text;
}

std::string Listing::csv() const {
  const auto row = [](const auto& items, const auto& textOf) {
    std::string text;
    for (const auto& item : items) {
      if (&item != &items.front()) text += ',';
      text += csvField(textOf(item));
    }
    return text + "\r\n";
  };
  std::string text = row(columns_, [](const Column& column) { return column.key; });
  for (const Line& line : lines_) {
    if (!line.cells.empty())
      text += row(line.cells, [](const Cell& cell) { return cell.raw.value_or(cell.shown); });
  }
  return text;
}

std::string Listing::text(const Look& look) const {
  if (look.mode == OutputMode::kCsv) return csv();
  return look.mode == OutputMode::kList ? list(look) : table(look);
}

std::string csvField(const std::string& text) {
  std::string field = text;
  if (!field.empty() && std::string_view("=+-@\t\r").find(field[0]) != std::string_view::npos)
    field.insert(0, "'");
  if (field.find_first_of(",\"\r\n") == field.npos) return field;
  std::string quoted = "\"";
  for (const char c : field) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + "\"";
}

std::string Facts::text(const Look& look) const {
  size_t width = 0;
  for (const Row& row : rows_) width = std::max(width, columnsOf(row.name));
  std::string text;
  for (const Row& row : rows_)
    text += wrapped(row.value, look.columns, row.name + padding(width, row.name) + "  ");
  return text;
}

}  // namespace korvel::ctl
