#include "terminal/table.h"

#include <algorithm>
#include <iostream>
#include <numeric>
#include <utility>

#include "terminal/text.h"

namespace command {

namespace {

constexpr size_t kGapWidth = 2;
constexpr size_t kBatch = 500;
constexpr size_t kLeastWidth = 5;  // no column is cut to less

/// Where to break a text: after the last space or comma that fits, or else after the next
/// one, so that a URL stays whole.
size_t BreakPoint(const std::string& text, size_t width) {
  const size_t fitting = FittingLength(text, width);
  if (fitting == text.size()) return fitting;
  const char* const breaks = " ,";
  size_t found = text.find_last_of(breaks, fitting);
  // A space may be beyond the width, where it is not seen; a comma may not.
  if (found == fitting && text[found] == ',' && found > 0) {
    found = text.find_last_of(breaks, found - 1);
  }
  if (found == std::string::npos) found = text.find_first_of(breaks, fitting);
  return found == std::string::npos ? text.size() : found + 1;
}

/// The lines of a text that begins at column `column`; at least one.
std::vector<std::string> Parts(std::string text, size_t column) {
  const size_t width = TerminalWidth() > column ? TerminalWidth() - column : 0;
  if (!IsOutputTerminal()) return {text};
  std::vector<std::string> parts;
  do {
    const size_t end = BreakPoint(text, width);
    const size_t last = text.find_last_not_of(' ', end - 1);
    parts.push_back(text.substr(0, last + 1));
    text.erase(0, end);
  } while (!text.empty());
  return parts;
}

}  // namespace

Table::Cell::Cell(const std::string& cell_text, Style cell_style)
    : text(Printable(cell_text)), style(cell_style) {}

Table::Table(const std::vector<Column>& columns) : rows_(1), widths_(columns.size()) {
  for (const Column& column : columns) {
    rows_.front().emplace_back(column.heading, Style::kHeading);
    may_be_cut_.push_back(column.may_be_cut);
  }
}

Table::~Table() {
  if (has_rows_) Flush();
}

void Table::Add(std::vector<Cell> row) {
  has_rows_ = true;
  rows_.push_back(std::move(row));
  if (rows_.size() >= kBatch) Flush();
}

void Table::Flush() {
  for (const std::vector<Cell>& row : rows_) {
    for (size_t i = 0; i < row.size(); ++i) {
      widths_[i] = std::max(widths_[i], DisplayWidth(row[i].text));
    }
  }
  if (IsOutputTerminal()) KeepToTerminal();
  std::string lines;
  for (const std::vector<Cell>& row : rows_) Append(row, lines);
  std::cout << lines;
  rows_.clear();
}

void Table::KeepToTerminal() {
  const size_t gaps = kGapWidth * (widths_.size() - 1);
  for (const bool every_column : {false, true}) {
    while (std::accumulate(widths_.begin(), widths_.end(), gaps) > TerminalWidth()) {
      size_t* widest = nullptr;
      for (size_t i = 0; i < widths_.size(); ++i) {
        const bool may_be_cut = may_be_cut_[i] || (every_column && i > 0);
        if (may_be_cut && widths_[i] > (widest == nullptr ? kLeastWidth : *widest)) {
          widest = &widths_[i];
        }
      }
      if (widest == nullptr) break;
      --*widest;
    }
  }
}

void Table::Append(const std::vector<Cell>& row, std::string& lines) const {
  for (size_t i = 0; i < row.size(); ++i) {
    const std::string text =
        IsOutputTerminal() ? Fit(row[i].text, widths_[i]) : row[i].text;
    lines += Styled(text, row[i].style);
    if (i + 1 == row.size()) break;
    lines.append(widths_[i] - DisplayWidth(text) + kGapWidth, ' ');
  }
  lines += '\n';
}

void DetailList::Add(const std::string& name, const std::string& text, Style style) {
  if (text.empty()) return;
  const Table::Cell heading(name.empty() ? "" : name + ":", Style::kHeading);
  lines_.emplace_back(heading, Table::Cell(text, style));
}

DetailList::~DetailList() {
  size_t column = 0;
  for (const auto& [name, value] : lines_) {
    column = std::max(column, DisplayWidth(name.text) + kGapWidth);
  }
  for (const auto& [name, value] : lines_) {
    std::cout << Styled(name.text, name.style);
    size_t indent = column - DisplayWidth(name.text);
    for (const std::string& part : Parts(value.text, column)) {
      std::cout << std::string(indent, ' ') << Styled(part, value.style) << "\n";
      indent = column;
    }
  }
}

}  // namespace command
