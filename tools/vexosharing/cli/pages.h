#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace command {

/// A part of a long list.
struct PageOptions {
  int page = 0;  // 0: everything
  int size = 50;

  /// The number of the page's first row, from 0.
  long first() const { return page == 0 ? 0 : static_cast<long>(page - 1) * size; }
  /// Whether the row of this number, from 0, is to be printed.
  bool Has(long row) const {
    return page == 0 || (row >= first() && row < first() + size);
  }
};

/// Adds --page and --page-size; `rows` is what the list consists of, as in "links".
void AddPages(CLI::App& command, PageOptions& options, const std::string& rows);

/// Reports the number of the page and of all pages; `row` is the singular.
void ReportPage(const PageOptions& options, long rows, const std::string& row);

}  // namespace command
