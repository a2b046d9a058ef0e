// A plain text table: columns as wide as their longest cell, two blanks between them. Pure.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace korvel::ctl {

class Table {
 public:
  enum class Align { kLeft, kRight };
  struct Column {
    std::string title;
    Align align = Align::kLeft;
  };

  explicit Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

  /// One cell per column, UTF-8, already printable.
  void addRow(std::vector<std::string> cells);
  /// Adds a line below the last row, unchanged. It does not widen any column.
  void addNote(std::string line);

  /// The title line, then every row and note, each ended by LF; titles and rows have no trailing spaces.
  std::string text() const;

 private:
  struct Line {
    std::vector<std::string> cells;  ///< empty for a note
    std::string note;
  };
  std::vector<size_t> widths() const;
  std::string formatRow(const std::vector<std::string>& cells, const std::vector<size_t>& widths) const;

  std::vector<Column> columns_;
  std::vector<Line> lines_;
};

}  // namespace korvel::ctl
