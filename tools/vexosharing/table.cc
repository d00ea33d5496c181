#include "table.h"

#include <algorithm>
#include <iostream>
#include <numeric>
#include <utility>

#include "text.h"

namespace command {

namespace {

const char kGap[] = "  ";
constexpr size_t kGapWidth = 2;
constexpr size_t kBatch = 500;
constexpr size_t kLeastWidth = 8;  // no column is cut to less

/// The lines that a text behind `column` columns takes; at least one.
std::vector<std::string> Parts(const std::string& text, size_t column) {
  std::vector<std::string> parts(1);
  const size_t width = TerminalWidth() > column ? TerminalWidth() - column : 0;
  if (!IsOutputTerminal() || DisplayWidth(text) <= width) return {text};
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find(' ', at), text.size());
    const std::string word = text.substr(at, end - at);
    if (!parts.back().empty() &&
        DisplayWidth(parts.back()) + 1 + DisplayWidth(word) > width) {
      parts.emplace_back();
    }
    if (!parts.back().empty()) parts.back() += ' ';
    parts.back() += word;
    at = end + 1;
  }
  return parts;
}

}  // namespace

Table::Cell::Cell(std::string cell_text, Style cell_style)
    : text(Printable(cell_text)), style(cell_style) {}

Table::Table(const std::vector<Column>& columns) {
  for (const Column& column : columns) {
    headings_.emplace_back(column.heading, Style::kHeading);
    widths_.push_back(DisplayWidth(column.heading));
    may_be_cut_.push_back(column.may_be_cut);
  }
}

Table::~Table() { Flush(); }

void Table::Add(std::vector<Cell> row) {
  rows_.push_back(std::move(row));
  if (rows_.size() == kBatch) Flush();
}

void Table::Flush() {
  if (rows_.empty()) return;
  for (const std::vector<Cell>& row : rows_) {
    for (size_t i = 0; i < row.size(); ++i) {
      widths_[i] = std::max(widths_[i], DisplayWidth(row[i].text));
    }
  }
  if (IsOutputTerminal()) KeepToTerminal();
  if (!begun_) Write(headings_);
  begun_ = true;
  for (const std::vector<Cell>& row : rows_) Write(row);
  rows_.clear();
}

void Table::KeepToTerminal() {
  for (const bool every_column : {false, true}) {
    while (TotalWidth() > TerminalWidth()) {
      size_t widest = widths_.size();
      for (size_t i = 0; i < widths_.size(); ++i) {
        if ((every_column || may_be_cut_[i]) && widths_[i] > kLeastWidth &&
            (widest == widths_.size() || widths_[i] > widths_[widest])) {
          widest = i;
        }
      }
      if (widest == widths_.size()) break;
      --widths_[widest];
    }
  }
}

size_t Table::TotalWidth() const {
  return std::accumulate(widths_.begin(), widths_.end(),
                         kGapWidth * (widths_.size() - 1));
}

void Table::Write(const std::vector<Cell>& row) const {
  for (size_t i = 0; i < row.size(); ++i) {
    const bool last = i + 1 == row.size();
    const std::string text =
        IsOutputTerminal() ? Fit(row[i].text, widths_[i]) : row[i].text;
    std::cout << Styled(text, row[i].style);
    if (!last) {
      const size_t width = DisplayWidth(text);
      std::cout << std::string(widths_[i] - std::min(width, widths_[i]), ' ') << kGap;
    }
  }
  std::cout << "\n";
}

void Sheet::Add(const std::string& name, const std::string& text, Style style) {
  lines_.push_back({Printable(name) + ":", Printable(text), style});
}

Sheet::~Sheet() {
  size_t column = 0;
  for (const Line& line : lines_) column = std::max(column, DisplayWidth(line.name));
  column += kGapWidth;
  for (const Line& line : lines_) {
    std::cout << Styled(line.name, Style::kHeading);
    size_t indent = column - DisplayWidth(line.name);
    for (const std::string& part : Parts(line.text, column)) {
      std::cout << std::string(indent, ' ') << Styled(part, line.style) << "\n";
      indent = column;
    }
  }
}

}  // namespace command
