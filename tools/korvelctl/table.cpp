#include "korvelctl/table.h"

#include <algorithm>
#include <utility>

#include "korvelctl/printable.h"

namespace korvel::ctl {

void Table::addRow(std::vector<std::string> cells) {
  cells.resize(columns_.size());
  lines_.push_back({std::move(cells), {}});
}

void Table::addNote(std::string line) { lines_.push_back({{}, std::move(line)}); }

std::vector<size_t> Table::widths() const {
  std::vector<size_t> widths;
  for (const Column& column : columns_) widths.push_back(columnsOf(column.title));
  for (const Line& line : lines_) {
    for (size_t i = 0; i < line.cells.size(); ++i) widths[i] = std::max(widths[i], columnsOf(line.cells[i]));
  }
  return widths;
}

std::string Table::formatRow(const std::vector<std::string>& cells, const std::vector<size_t>& widths) const {
  std::string row;
  for (size_t i = 0; i < cells.size(); ++i) {
    const std::string padding(widths[i] - columnsOf(cells[i]), ' ');
    if (i > 0) row += "  ";
    row += columns_[i].align == Align::kRight ? padding + cells[i] : cells[i] + padding;
  }
  row.erase(row.find_last_not_of(' ') + 1);
  return row + "\n";
}

std::string Table::text() const {
  const std::vector<size_t> widths = this->widths();
  std::vector<std::string> titles;
  for (const Column& column : columns_) titles.push_back(column.title);
  std::string text = formatRow(titles, widths);
  for (const Line& line : lines_)
    text += line.cells.empty() ? line.note + "\n" : formatRow(line.cells, widths);
  return text;
}

}  // namespace korvel::ctl
