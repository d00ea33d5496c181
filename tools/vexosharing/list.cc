#include <algorithm>
#include <ctime>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "account.h"
#include "commands.h"
#include "database.h"
#include "interrupt.h"
#include "json.h"
#include "link_json.h"
#include "links.h"
#include "moment.h"
#include "options.h"
#include "progress.h"
#include "state_text.h"
#include "statements.h"
#include "table.h"
#include "text.h"

namespace command {

namespace {

constexpr int kUsualPageSize = 50;

/// What may be said, and the SQL for it.
struct Order {
  const char* word;
  const char* sql;
};

// What never expires comes behind what does.
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

std::vector<std::string> StateNames() {
  std::vector<std::string> names;
  for (const LinkState state : tools::kLinkStates) {
    names.emplace_back(tools::StateName(state));
  }
  return names;
}

struct Options {
  CommonOptions common;
  std::string project;
  std::string owner;
  std::string state;
  std::string order = "created";
  bool reverse = false;
  int page = 0;  // 0: everything
  int page_size = kUsualPageSize;
};

/// The condition that the filters make; false, told, for an unknown owner.
bool Condition(const Options& options, const BaseDB& db, long now, std::string& where) {
  const auto add = [&where](const std::string& term) {
    where += (where.empty() ? "" : " AND ") + term;
  };
  if (!options.project.empty()) {
    add("project_name = '" + db.Escape(options.project) + "'");
  }
  if (!options.owner.empty()) {
    unsigned int uid = 0;
    if (!FindOwner(options.owner, uid)) return false;
    add("owner_uid = " + std::to_string(uid));
  }
  if (!options.state.empty()) {
    add(tools::StateSql(now) + " = '" + options.state + "'");
  }
  return true;
}

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
    if (is_new) found->second = OwnerText(uid);
    return found->second;
  }

 private:
  std::map<unsigned int, std::string> names_;
};

std::string AsksForText(const Entry& link) {
  switch (link.get_protect_type()) {
    case Entry::PROTECT_PASSWORD:
      return "password";
    case Entry::PROTECT_USER:
      return "user";
    default:
      return "nothing";
  }
}

/// Goes on reading until nothing is left or nobody is there to read.
template <class Each>
void ForEach(LinkReader& reader, Each each) {
  Progress progress("reading links", reader.total());
  Entry link;
  while (std::cout && reader.Next(link)) {
    each(link);
    if (!IsOutputTerminal()) progress.Show(reader.done());
  }
}

void PrintTable(LinkReader& reader, long now) {
  OwnerNames owners;
  Table table({"HASH",
               {"PROJECT", true},
               {"OWNER", true},
               "STATE",
               "EXPIRES",
               "USES",
               "ASKS FOR"});
  ForEach(reader, [&](const Entry& link) {
    const LinkState state = tools::StateOf(link, now);
    table.Add({link.get_hash(),
               link.get_project_name(),
               owners.Get(link.get_owner_uid()),
               {StateWords(state), StateStyle(state)},
               MinuteText(link.get_expire_at()),
               UsesText(link, "/"),
               AsksForText(link)});
  });
}

void PrintArray(LinkReader& reader, long matching, long now) {
  std::cout << "{\"total\":" << matching << ",\"links\":";
  JsonArrayWriter array;
  array.Begin();
  ForEach(reader, [&](const Entry& link) { array.Add(tools::LinkJson(link, now)); });
  // A list that broke off is left open, so that nobody takes it for the whole.
  if (!reader.good() || Interrupted()) return;
  array.End();
  std::cout << ",\"damaged\":" << JsonText(DamagedJson(reader.damaged())) << "}\n";
}

/// Tells which page of how many that was.
void TellPage(const Options& options, long matching) {
  const long pages =
      matching / options.page_size + (matching % options.page_size == 0 ? 0 : 1);
  const std::string page = "page " + std::to_string(options.page);
  if (options.page > pages) {
    Tell("there is no " + page + ": " + Counted(matching, "link") + " on " +
         Counted(pages, "page"));
  } else {
    Tell(page + " of " + std::to_string(pages) + ", " + Counted(matching, "link"));
  }
}

Outcome List(const Options& options) {
  const std::unique_ptr<SharingDB> db = OpenDatabase(options.common.database);
  if (db == nullptr) return kNotUsable;
  const long now = time(nullptr);
  std::string where;
  if (!Condition(options, *db, now, where)) return kRefused;
  long matching = 0;
  const std::string filter = where.empty() ? "" : " WHERE " + where;
  if (!tools::SelectNumber(*db, "SELECT COUNT(*) AS n FROM entry" + filter, matching)) {
    return DatabaseFailed(*db);
  }
  LinkReader reader(*db, where, OrderSql(options), Limit(options));
  if (options.common.json) {
    PrintArray(reader, matching, now);
  } else {
    PrintTable(reader, now);
  }
  TellDamaged(reader.damaged());
  if (!reader.good()) return DatabaseFailed(*db);
  if (Interrupted()) {
    return End(kInterrupted, "interrupted after " + std::to_string(reader.done()) +
                                 " of " + Counted(reader.total(), "link"));
  }
  if (options.common.json) return kDone;
  if (options.page != 0) {
    TellPage(options, matching);
  } else if (matching == 0) {
    Tell("no link matches");
  }
  return kDone;
}

}  // namespace

void AddList(CLI::App& app, Work& work) {
  const auto options = std::make_shared<Options>();
  CLI::App& command =
      AddCommand(app, "list",
                 "Lists links.\n"
                 "They stand in the order of their making unless --order names another.\n"
                 "Rows that do not read are counted and named.",
                 "vexosharing list --owner alice --state expired");
  command.add_option("--project", options->project, "links of this application")
      ->transform(NotEmpty())
      ->type_name("NAME");
  command.add_option("--owner", options->owner, "links of this user, by name or number")
      ->transform(NotEmpty())
      ->type_name("USER");
  command
      .add_option("--state", options->state,
                  "usable, not_started, expired, used_up, disabled")
      ->check(OneOf(StateNames()))
      ->type_name("STATE");
  command
      .add_option("--order", options->order,
                  "created, hash, project, owner, start, expire, uses")
      ->check(OneOf(OrderWords()))
      ->type_name("COLUMN");
  command.add_flag("--reverse", options->reverse, "the other way round");
  command.add_option("--page", options->page, "this page only, counted from 1")
      ->transform(WholeNumber(1))
      ->type_name("N");
  command.add_option("--page-size", options->page_size, "links on a page (50)")
      ->transform(WholeNumber(1))
      ->type_name("N")
      ->needs("--page");
  AddCommon(command, options->common);
  command.callback([options, &work] { work = [options] { return List(*options); }; });
}

}  // namespace command
