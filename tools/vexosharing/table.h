#pragma once

#include <string>
#include <vector>

#include "terminal.h"

namespace command {

/// A table on standard output.  On a terminal it keeps to the width by cutting columns:
/// first those that may be cut, then the others but for the first, which names the row.
/// Elsewhere nothing is cut.  Rows are written in batches, so that a table of any length
/// takes little memory.
class Table {
 public:
  struct Column {
    Column(const char* column_heading, bool column_may_be_cut = false)
        : heading(column_heading), may_be_cut(column_may_be_cut) {}

    std::string heading;
    bool may_be_cut;
  };

  struct Cell {
    Cell(std::string cell_text, Style cell_style = Style::kPlain);

    std::string text;  // printable
    Style style;
  };

  explicit Table(const std::vector<Column>& columns);
  /// Writes what is left.
  ~Table();
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  /// As many cells as there are columns.
  void Add(std::vector<Cell> row);

 private:
  void Flush();
  void KeepToTerminal();
  size_t TotalWidth() const;
  void Write(const std::vector<Cell>& row) const;

  std::vector<Cell> headings_;
  std::vector<std::vector<Cell>> rows_;
  std::vector<size_t> widths_;
  std::vector<bool> may_be_cut_;
  bool begun_ = false;
};

/// Names and what belongs to them in two columns.  On a terminal long texts go on in the
/// next line, broken behind spaces and commas; elsewhere a pair is a line.
class Sheet {
 public:
  Sheet() = default;
  ~Sheet();
  Sheet(const Sheet&) = delete;
  Sheet& operator=(const Sheet&) = delete;

  /// An empty name makes a further line of what is above.
  void Add(const std::string& name, const std::string& text, Style style = Style::kPlain);

 private:
  struct Line {
    std::string name;
    std::string text;
    Style style;
  };

  std::vector<Line> lines_;
};

}  // namespace command
