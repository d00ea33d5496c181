#include <algorithm>
#include <ctime>
#include <iterator>
#include <sstream>

#include "cli/date.h"
#include "cli/pages.h"
#include "cli/selection.h"
#include "subcommands/table.h"
#include "terminal/terminal.h"

namespace command {

namespace {

/// Values of --order and their SQL.
const std::pair<const char*, const char*> kOrders[] = {
    {"created", "id"},
    {"hash", "hash"},
    {"project", "project_name"},
    {"owner", "owner_uid"},
    {"start", "start_at"},
    // Links that never expire come last.
    {"expire", "CASE expire_at WHEN 0 THEN 9223372036854775807 ELSE expire_at END"},
    {"uses", "use_count"}};

Table::Cell HashCell(const Entry& link, long /*now*/) { return link.get_hash(); }
Table::Cell TitleCell(const Entry& link, long /*now*/) {
  return link.get_protect_title();
}
Table::Cell ProjectCell(const Entry& link, long /*now*/) {
  return link.get_project_name();
}
Table::Cell OwnerCell(const Entry& link, long /*now*/) {
  return UserText(link.get_owner_uid());
}
Table::Cell StateCell(const Entry& link, long now) {
  const LinkState state = admin::StateOf(link, now);
  return {StateWords(state), StateStyle(state)};
}
Table::Cell StartCell(const Entry& link, long /*now*/) {
  return link.get_start_at() == 0 ? "immediately" : DateTextToMinute(link.get_start_at());
}
Table::Cell ExpiryCell(const Entry& link, long /*now*/) {
  return DateTextToMinute(link.get_expire_at());
}
Table::Cell UsesCell(const Entry& link, long /*now*/) { return UsesText(link, "/"); }
Table::Cell ProtectionCell(const Entry& link, long /*now*/) {
  if (link.get_protect_type() == Entry::PROTECT_NONE) return std::string("none");
  return std::string(link.get_protect_type() == Entry::PROTECT_USER ? "user"
                                                                    : "password");
}

struct Column {
  Table::Column heading;
  Table::Cell (*cell)(const Entry& link, long now);
};

/// Names in --columns and their columns.
const std::pair<const char*, Column> kColumns[] = {
    {"hash", {{"HASH"}, HashCell}},
    {"title", {{"TITLE", true}, TitleCell}},
    {"project", {{"PROJECT", true}, ProjectCell}},
    {"owner", {{"OWNER", true}, OwnerCell}},
    {"state", {{"STATE"}, StateCell}},
    {"starts", {{"STARTS"}, StartCell}},
    {"expires", {{"EXPIRES"}, ExpiryCell}},
    {"uses", {{"USES"}, UsesCell}},
    {"protection", {{"PROTECTION", true}, ProtectionCell}},
};

struct Options : CommonOptions {
  FilterOptions filter;
  std::string columns = "hash,title,project,owner,state,expires,uses,protection";
  std::string order = "created";
  bool reverse = false;
  PageOptions pages;
};

template <class Row, size_t size>
std::vector<std::string> Names(const Row (&table)[size]) {
  std::vector<std::string> names;
  for (const Row& row : table) names.emplace_back(row.first);
  return names;
}

/// The row of that name; the end of the table for an unknown one.
template <class Row, size_t size>
const Row* Find(const Row (&table)[size], const std::string& name) {
  return std::find_if(table, table + size,
                      [&name](const Row& row) { return name == row.first; });
}

std::string OrderSql(const Options& options) {
  const std::string direction = options.reverse ? " DESC" : "";
  const std::string column = Find(kOrders, options.order)->second;
  return column == "id" ? "id" + direction : column + direction + ", id" + direction;
}

std::string Limit(const Options& options) {
  if (options.pages.page == 0) return "";
  return std::to_string(options.pages.size) + " OFFSET " +
         std::to_string(options.pages.first());
}

/// The columns of a list such as "hash,title"; empty for an unknown name.
std::vector<Column> SelectColumns(const std::string& list) {
  std::vector<Column> selected;
  std::istringstream names(list + ",");
  for (std::string name; std::getline(names, name, ',');) {
    const auto* const column = Find(kColumns, name);
    if (column == std::end(kColumns)) return {};
    selected.push_back(column->second);
  }
  return selected;
}

std::string CheckColumns(const std::string& list) {
  if (!SelectColumns(list).empty()) return "";
  return "invalid column list \"" + list + "\": must consist of " + Join(Names(kColumns));
}

/// Reads until the end, until interrupted, or until the output cannot be written.
template <class Each>
void ForEach(admin::LinkReader& reader, Each each) {
  Progress progress("reading links");
  Entry link;
  while (std::cout && !Interrupted() && reader.Next(link)) {
    each(link);
    if (!IsOutputTerminal()) progress.Show(reader.done(), reader.total());
  }
}

void PrintTable(const Options& options, admin::LinkReader& reader, long now) {
  const std::vector<Column> columns = SelectColumns(options.columns);
  std::vector<Table::Column> headings;
  headings.reserve(columns.size());
  for (const Column& column : columns) headings.push_back(column.heading);
  Table table(headings);
  ForEach(reader, [&](const Entry& link) {
    std::vector<Table::Cell> row;
    row.reserve(columns.size());
    for (const Column& column : columns) row.push_back(column.cell(link, now));
    table.Add(std::move(row));
  });
}

void PrintArray(admin::LinkReader& reader, long matching, long now) {
  std::cout << "{\"total\":" << matching << ",\"items\":[";
  admin::LinkUrls urls;
  JsonArrayWriter array;
  ForEach(reader,
          [&](const Entry& link) { array.AddText(LinkJsonText(link, urls, now)); });
  // An incomplete list is not closed, so that it is not valid JSON.
  if (!reader.good() || Interrupted()) return;
  array.End();
  std::cout << ",\"unreadable\":" << admin::JsonText(UnreadableJson(reader.unreadable()))
            << "}\n";
}

ExitCode List(const Options& options) {
  admin::LinkFilter filter;
  admin::DatabaseAccess access;
  Error error = ParseFilter(options.filter, filter);
  if (!error) error = access.Open(options.database, Access::kRead);
  if (error) return Fail(error);
  long matching = 0;
  error = admin::LinkAdmin(access.database()).Count(filter, matching);
  if (error) return Fail(error);
  const long now = time(nullptr);
  admin::LinkReader reader(access.database(), filter.Sql(access.database(), now),
                           OrderSql(options), Limit(options));
  if (options.json) {
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
  if (options.json) return kSuccess;
  if (options.pages.page != 0) {
    ReportPage(options.pages, matching, "link");
  } else if (matching == 0) {
    ReportError("no matching links");
  }
  return kSuccess;
}

}  // namespace

Action AddList(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  AddFilters(command, options->filter, "--");
  AddValue(command, "--order", options->order, "COLUMN", OneOf(Names(kOrders)),
           "created, hash, project, owner, start, expire or uses");
  command.add_flag("--reverse", options->reverse, "reverse the order");
  CLI::Option* const columns =
      AddValue(command, "--columns", options->columns, "LIST",
               CLI::Validator(CheckColumns, ""), "columns to print");
  AddPages(command, options->pages, "links");
  AddCommon(command, *options);
  columns->excludes("--json");
  return [options] { return List(*options); };
}

}  // namespace command
