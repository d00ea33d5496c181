#pragma once

#include <string>
#include <utility>
#include <vector>

#include "terminal/terminal.h"

namespace command {

/// A table on standard output.  On a terminal it is kept within its width by cutting
/// columns: first those that may be cut, then the others except the first, which names
/// the row.  Elsewhere nothing is cut.  Rows are written in batches, so that memory is
/// bounded.
///
/// Not libsmartcols: it cuts without a mark and down to a single character, and computes
/// widths from all rows, which it keeps in memory.
class Table {
 public:
  struct Column {
    const char* heading;
    bool may_be_cut = false;
  };

  struct Cell {
    Cell(const std::string& cell_text, Style cell_style = Style::kPlain);

    std::string text;  // printable
    Style style;
  };

  explicit Table(const std::vector<Column>& columns);
  /// Writes the remaining rows.
  ~Table();
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  /// Adds a row with one cell for each column.
  void Add(std::vector<Cell> row);

 private:
  void Flush();
  void KeepToTerminal();
  void Append(const std::vector<Cell>& row, std::string& lines) const;

  std::vector<std::vector<Cell>> rows_;  // not written yet; the headings are the first
  std::vector<size_t> widths_;
  std::vector<bool> may_be_cut_;
  bool has_rows_ = false;
};

/// Names and values in two columns.  On a terminal, long values continue on the next
/// line, broken after spaces and commas only: URLs and commands stay whole, to be copied
/// (wrapped cells of libsmartcols do not).  Elsewhere each pair is a line.
class DetailList {
 public:
  DetailList() = default;
  ~DetailList();
  DetailList(const DetailList&) = delete;
  DetailList& operator=(const DetailList&) = delete;

  /// An empty name continues the value above on a new line.  An empty text adds nothing.
  void Add(const std::string& name, const std::string& text, Style style = Style::kPlain);

 private:
  std::vector<std::pair<Table::Cell, Table::Cell>> lines_;
};

}  // namespace command
