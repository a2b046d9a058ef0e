// A list of rows in every form for people and spreadsheets: an aligned table, "name: value" blocks, or CSV.
// Pure.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "korvelctl/cli/text.h"
#include "korvelctl/render/look.h"
#include "records/severity.h"

namespace korvel::ctl {

class Listing {
 public:
  enum class Kind {
    kText,
    kNumber,  ///< aligned at the right
    kPath,    ///< shortened in the middle where the terminal is too narrow; at most one, and the last column
  };
  struct Column {
    std::string key;  ///< the title in CSV; English
    Text title;
    Kind kind = Kind::kText;
  };
  struct Cell {
    Cell(std::string text) : shown(std::move(text)) {}  // NOLINT: a text is a cell
    Cell(std::string text, std::string machine) : shown(std::move(text)), raw(std::move(machine)) {}
    std::string shown;                 ///< for people; printable
    std::optional<std::string> raw;    ///< for CSV, where it differs
    std::optional<Severity> severity;  ///< colours the cell
  };

  explicit Listing(std::vector<Column> columns) : columns_(std::move(columns)) {}

  /// One cell per column.
  void addRow(std::vector<Cell> cells);
  /// A line below the last row, wrapped with an indent; left out in CSV.
  void addNote(std::string text);
  bool empty() const { return lines_.empty(); }

  /// Each line ends in LF, those of CSV in CR LF. A table without rows is empty, CSV still has its titles.
  std::string text(const Look& look) const;

 private:
  struct Line {
    std::vector<Cell> cells;  ///< empty for a note
    std::string note;
  };
  std::string table(const Look& look) const;
  std::string list(const Look& look) const;
  std::string csv() const;
  std::string tableRow(const std::vector<Cell>& cells, const std::vector<size_t>& widths,
                       const Look& look) const;

  std::vector<Column> columns_;
  std::vector<Line> lines_;
};

/// One field of a CSV line: in quotes where it has a comma, a quote or a line end, and with an apostrophe in
/// front where a spreadsheet would take it for a formula.
std::string csvField(const std::string& text);

/// "name  value" lines whose values begin in one column; values are wrapped with an indent.
class Facts {
 public:
  void add(std::string name, std::string value) { rows_.push_back({std::move(name), std::move(value)}); }
  std::string text(const Look& look) const;

 private:
  struct Row {
    std::string name, value;
  };
  std::vector<Row> rows_;
};

}  // namespace korvel::ctl
