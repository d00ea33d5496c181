#include <algorithm>
#include <ctime>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "admin/database_access.h"
#include "admin/json_text.h"
#include "admin/link_json.h"
#include "cli/date.h"
#include "cli/interrupt.h"
#include "cli/link_text.h"
#include "cli/options.h"
#include "cli/report.h"
#include "cli/selection.h"
#include "subcommands/table.h"
#include "terminal/json.h"
#include "terminal/progress.h"
#include "terminal/table.h"
#include "terminal/text.h"

namespace command {

namespace {

constexpr int kUsualPageSize = 50;

/// A value of --order and its SQL.
struct Order {
  const char* word;
  const char* sql;
};

// Links that never expire come last.
const char kExpireOrder[] =
    "CASE expire_at WHEN 0 THEN 9223372036854775807 ELSE expire_at END";

const Order kOrders[] = {{"created", "id"},           {"hash", "hash"},
                         {"project", "project_name"}, {"owner", "owner_uid"},
                         {"start", "start_at"},       {"expire", kExpireOrder},
                         {"uses", "use_count"}};

std::vector<std::string> OrderWords() {
  std::vector<std::string> words;
  for (const Order& order : kOrders) words.emplace_back(order.word);
  return words;
}

struct Options {
  CommonOptions common;
  FilterOptions filter;
  std::string columns = "hash,title,project,owner,state,expires,uses,protection";
  std::string order = "created";
  bool reverse = false;
  int page = 0;  // 0: all links
  int page_size = kUsualPageSize;
};

std::string OrderSql(const Options& options) {
  const std::string direction = options.reverse ? " DESC" : "";
  const std::string column =
      std::find_if(std::begin(kOrders), std::end(kOrders),
                   [&options](const Order& order) { return options.order == order.word; })
          ->sql;
  return column == "id" ? "id" + direction : column + direction + ", id" + direction;
}

std::string Limit(const Options& options) {
  if (options.page == 0) return "";
  const long skipped = static_cast<long>(options.page - 1) * options.page_size;
  return std::to_string(options.page_size) + " OFFSET " + std::to_string(skipped);
}

/// Names of owners, each looked up once.
class OwnerNames {
 public:
  const std::string& Get(unsigned int uid) {
    const auto [found, is_new] = names_.try_emplace(uid);
    if (is_new) found->second = UserText(uid);
    return found->second;
  }

 private:
  std::map<unsigned int, std::string> names_;
};

std::string ProtectionText(const Entry& link) {
  switch (link.get_protect_type()) {
    case Entry::PROTECT_PASSWORD:
      return "password";
    case Entry::PROTECT_USER:
      return "user";
    default:
      return "none";
  }
}

/// The data from which the cells of a row are made.
struct CellContext {
  OwnerNames owners;
  long now;
};

/// A value of --columns.
struct ListColumn {
  const char* name;
  Table::Column column;
  Table::Cell (*cell)(const Entry& link, CellContext& context);
};

Table::Cell StateCell(const Entry& link, CellContext& context) {
  const LinkState state = admin::StateOf(link, context.now);
  return {StateWords(state), StateStyle(state)};
}

const ListColumn kColumns[] = {
    {"hash", "HASH",
     [](const Entry& link, CellContext&) -> Table::Cell { return link.get_hash(); }},
    {"title",
     {"TITLE", true},
     [](const Entry& link, CellContext&) -> Table::Cell {
       return link.get_protect_title();
     }},
    {"project",
     {"PROJECT", true},
     [](const Entry& link, CellContext&) -> Table::Cell {
       return link.get_project_name();
     }},
    {"owner",
     {"OWNER", true},
     [](const Entry& link, CellContext& context) -> Table::Cell {
       return context.owners.Get(link.get_owner_uid());
     }},
    {"state", "STATE", StateCell},
    {"starts", "STARTS",
     [](const Entry& link, CellContext&) -> Table::Cell {
       return link.get_start_at() == 0 ? "immediately"
                                       : DateTextToMinute(link.get_start_at());
     }},
    {"expires", "EXPIRES",
     [](const Entry& link, CellContext&) -> Table::Cell {
       return DateTextToMinute(link.get_expire_at());
     }},
    {"uses", "USES",
     [](const Entry& link, CellContext&) -> Table::Cell { return UsesText(link, "/"); }},
    {"protection",
     {"PROTECTION", true},
     [](const Entry& link, CellContext&) -> Table::Cell { return ProtectionText(link); }},
};

std::vector<std::string> ColumnNames() {
  std::vector<std::string> names;
  for (const ListColumn& column : kColumns) names.emplace_back(column.name);
  return names;
}

/// The columns of a list such as "hash,title", in its order.  False for an unknown name.
bool SelectColumns(const std::string& list, std::vector<const ListColumn*>& selected) {
  std::istringstream names(list + ",");
  for (std::string name; std::getline(names, name, ',');) {
    const ListColumn* const found =
        std::find_if(std::begin(kColumns), std::end(kColumns),
                     [&name](const ListColumn& column) { return name == column.name; });
    if (found == std::end(kColumns)) return false;
    selected.push_back(found);
  }
  return true;
}

CLI::Validator ColumnList() {
  return CLI::Validator(
      [](std::string& text) -> std::string {
        std::vector<const ListColumn*> columns;
        if (SelectColumns(text, columns)) return "";
        return "invalid column list \"" + text + "\": must consist of " +
               Join(ColumnNames());
      },
      "");
}

/// Reads until the end, until interrupted, or until the output cannot be
/// written.
template <class Each>
void ForEach(admin::LinkReader& reader, Each each) {
  Progress progress("reading links", reader.total());
  Entry link;
  while (std::cout && !Interrupted() && reader.Next(link)) {
    each(link);
    if (!IsOutputTerminal()) progress.Show(reader.done());
  }
}

void PrintTable(const Options& options, admin::LinkReader& reader, long now) {
  CellContext context = {{}, now};
  std::vector<Table::Column> headings;
  std::vector<const ListColumn*> columns;
  SelectColumns(options.columns, columns);  // checked when the call was parsed
  headings.reserve(columns.size());
  for (const ListColumn* const column : columns) headings.push_back(column->column);
  Table table(headings);
  ForEach(reader, [&](const Entry& link) {
    std::vector<Table::Cell> row;
    row.reserve(columns.size());
    for (const ListColumn* const column : columns) {
      row.push_back(column->cell(link, context));
    }
    table.Add(std::move(row));
  });
}

void PrintArray(admin::LinkReader& reader, long matching, long now) {
  std::cout << "{\"total\":" << matching << ",\"items\":";
  admin::LinkUrls urls;
  JsonArrayWriter array;
  array.Begin();
  ForEach(reader, [&](const Entry& link) { array.Add(LinkJson(link, urls, now)); });
  // An incomplete list is not closed, so that it is not valid JSON.
  if (!reader.good() || Interrupted()) return;
  array.End();
  std::cout << ",\"unreadable\":" << admin::JsonText(UnreadableJson(reader.unreadable()))
            << "}\n";
}

/// Reports the number of the page and of all pages.
void ReportPage(const Options& options, long matching) {
  const long pages =
      matching / options.page_size + (matching % options.page_size == 0 ? 0 : 1);
  const std::string page = "page " + std::to_string(options.page);
  if (options.page > pages) {
    ReportError(page + " does not exist: " + Counted(matching, "link") + " on " +
                Counted(pages, "page"));
  } else {
    ReportError(page + " of " + std::to_string(pages) + ", " + Counted(matching, "link"));
  }
}

ExitCode List(const Options& options) {
  admin::LinkFilter filter;
  admin::DatabaseAccess access;
  admin::Error error = ParseFilter(options.filter, filter);
  if (!error) error = access.Open(options.common.database, admin::Access::kRead);
  if (error) return Fail(error);
  long matching = 0;
  error = admin::LinkAdmin(access.database()).Count(filter, matching);
  if (error) return Fail(error);
  const long now = time(nullptr);
  admin::LinkReader reader(access.database(), filter.Sql(access.database(), now),
                           OrderSql(options), Limit(options));
  if (options.common.json) {
    PrintArray(reader, matching, now);
  } else {
    PrintTable(options, reader, now);
  }
  ReportUnreadable(reader.unreadable());
  if (!reader.good()) return Fail(admin::DatabaseError(access.database()));
  if (Interrupted()) {
    return Fail(kInterrupted, "interrupted after " + std::to_string(reader.done()) +
                                  " of " + Counted(reader.total(), "link"));
  }
  if (options.common.json) return kSuccess;
  if (options.page != 0) {
    ReportPage(options, matching);
  } else if (matching == 0) {
    ReportError("no matching links");
  }
  return kSuccess;
}

}  // namespace

void AddList(CLI::App& command, Action& action) {
  const auto options = std::make_shared<Options>();
  AddFilters(command, options->filter, "--");
  command
      .add_option("--order", options->order,
                  "created, hash, project, owner, start, expire or uses")
      ->check(OneOf(OrderWords()))
      ->type_name("COLUMN");
  command.add_flag("--reverse", options->reverse, "reverse the order");
  CLI::Option* const columns =
      command.add_option("--columns", options->columns, "columns to print");
  columns->check(ColumnList())->type_name("LIST");
  CLI::Option* const page =
      command.add_option("--page", options->page, "print this page, starting at 1")
          ->transform(WholeNumber(1))
          ->type_name("N");
  CLI::Option* const page_size =
      command
          .add_option("--page-size", options->page_size, "links per page (default: 50)")
          ->transform(WholeNumber(1))
          ->type_name("N");
  AddCommon(command, options->common);
  columns->excludes(command.get_option("--json"));
  SetAction(command, action, options, [page, page_size](Options& given) {
    if (page_size->count() > 0 && page->count() == 0) given.page = 1;
    return List(given);
  });
}

}  // namespace command
