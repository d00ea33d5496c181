#include "cli/pages.h"

#include <algorithm>

#include "cli/options.h"
#include "cli/report.h"
#include "terminal/text.h"

namespace command {

void AddPages(CLI::App& command, PageOptions& options, const std::string& rows) {
  AddValue(command, "--page", options.page, "N", WholeNumber(1),
           "print this page, starting at 1");
  AddValue(command, "--page-size", options.size, "N", WholeNumber(1),
           rows + " per page (default: 50)")
      ->each(
          [&options](const std::string&) { options.page = std::max(options.page, 1); });
}

void ReportPage(const PageOptions& options, long rows, const std::string& row) {
  const long pages = (rows + options.size - 1) / options.size;
  const std::string page = "page " + std::to_string(options.page);
  const std::string counted = Counted(rows, row);
  ReportError(options.page > pages
                  ? page + " does not exist: " + counted + " on " + Counted(pages, "page")
                  : page + " of " + std::to_string(pages) + ", " + counted);
}

}  // namespace command
