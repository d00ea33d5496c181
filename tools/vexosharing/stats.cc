#include <sys/stat.h>

#include <ctime>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "database.h"
#include "json.h"
#include "options.h"
#include "result.h"
#include "state_text.h"
#include "statements.h"
#include "table.h"
#include "text.h"

namespace command {

namespace {

using VEXO::sharing::db::Result;
using VEXO::sharing::db::Row;

/// Links of one project, or of all.
struct LinkCounts {
  std::map<std::string, long> by_state;
  long links = 0;
  long logins = 0;
};

struct Liveness {
  long alive = 0;
  long expired = 0;
};

struct Counts {
  LinkCounts all;
  std::map<std::string, LinkCounts> by_project;
  Liveness sessions;
  Liveness tokens;
  long file_bytes = 0;
  long log_bytes = 0;
};

void Add(LinkCounts& counts, const std::string& state, long links, long logins) {
  counts.by_state[state] += links;
  counts.links += links;
  counts.logins += logins;
}

bool CountLinks(BaseDB& db, long now, Counts& counts) {
  Result result;
  if (!db.Execute("SELECT project_name, " + tools::StateSql(now) +
                      " AS state, COUNT(*) AS links, SUM(use_count) AS logins FROM entry "
                      "GROUP BY project_name, state",
                  result)) {
    return false;
  }
  Row row;
  while (result.NextRow(row)) {
    const std::string state = row.GetField("state").AsString("");
    const long links = row.GetField("links").AsTime(0);
    const long logins = row.GetField("logins").AsTime(0);
    Add(counts.all, state, links, logins);
    Add(counts.by_project[row.GetField("project_name").AsString("")], state, links,
        logins);
  }
  return true;
}

bool CountLiveness(BaseDB& db, const std::string& table, long now, Liveness& counts) {
  const std::string sql = "SELECT COUNT(*) AS n FROM " + table + " WHERE timeout ";
  return tools::SelectNumber(db, sql + "> " + std::to_string(now), counts.alive) &&
         tools::SelectNumber(db, sql + "<= " + std::to_string(now), counts.expired);
}

/// 0 for a missing file.
long SizeOf(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 ? status.st_size : 0;
}

std::string SizeText(long bytes) {
  return bytes < 1024 * 1024 ? std::to_string((bytes + 1023) / 1024) + " KiB"
                             : std::to_string((bytes + 524288) / 1048576) + " MiB";
}

std::string LivenessText(const Liveness& counts) {
  return std::to_string(counts.alive) + " alive, " + std::to_string(counts.expired) +
         " expired";
}

long OfState(const LinkCounts& counts, LinkState state) {
  const auto found = counts.by_state.find(tools::StateName(state));
  return found == counts.by_state.end() ? 0 : found->second;
}

void PrintText(const Counts& counts) {
  {
    Sheet sheet;
    sheet.Add("Links", std::to_string(counts.all.links));
    for (const LinkState state : tools::kLinkStates) {
      const long links = OfState(counts.all, state);
      sheet.Add("  " + StateWords(state), std::to_string(links),
                links == 0 ? Style::kFaint : StateStyle(state));
    }
    sheet.Add("Logins", std::to_string(counts.all.logins));
    sheet.Add("Sessions", LivenessText(counts.sessions));
    sheet.Add("Tokens", LivenessText(counts.tokens));
    sheet.Add("Size", SizeText(counts.file_bytes) + ", and " +
                          SizeText(counts.log_bytes) + " of write-ahead log");
  }
  if (counts.by_project.empty()) return;
  std::cout << "\n";
  Table table({{"PROJECT", true},
               "LINKS",
               "USABLE",
               "NOT STARTED",
               "EXPIRED",
               "USED UP",
               "DISABLED",
               "LOGINS"});
  for (const auto& [project, links] : counts.by_project) {
    std::vector<Table::Cell> row = {project, std::to_string(links.links)};
    for (const LinkState state : tools::kLinkStates) {
      row.emplace_back(std::to_string(OfState(links, state)));
    }
    row.emplace_back(std::to_string(links.logins));
    table.Add(row);
  }
}

Json::Value LinksJson(const LinkCounts& counts) {
  Json::Value out(Json::objectValue);
  out["links"] = Json::Value::Int64{counts.links};
  out["logins"] = Json::Value::Int64{counts.logins};
  Json::Value& states = out["states"] = Json::Value(Json::objectValue);
  for (const LinkState state : tools::kLinkStates) {
    states[tools::StateName(state)] = Json::Value::Int64{OfState(counts, state)};
  }
  return out;
}

Json::Value LivenessJson(const Liveness& counts) {
  Json::Value out(Json::objectValue);
  out["alive"] = Json::Value::Int64{counts.alive};
  out["expired"] = Json::Value::Int64{counts.expired};
  return out;
}

void PrintObject(const Counts& counts) {
  Json::Value out = LinksJson(counts.all);
  Json::Value& projects = out["projects"] = Json::Value(Json::arrayValue);
  for (const auto& [project, links] : counts.by_project) {
    Json::Value element = LinksJson(links);
    element[VEXO::sharing::SZK_PROJECT_NAME] = project;
    projects.append(element);
  }
  out["sessions"] = LivenessJson(counts.sessions);
  out["tokens"] = LivenessJson(counts.tokens);
  out["file_bytes"] = Json::Value::Int64{counts.file_bytes};
  out["log_bytes"] = Json::Value::Int64{counts.log_bytes};
  PrintJson(out);
}

Outcome Stats(const CommonOptions& options) {
  const std::unique_ptr<SharingDB> db = OpenDatabase(options.database);
  if (db == nullptr) return kNotUsable;
  const long now = time(nullptr);
  Counts counts;
  if (!CountLinks(*db, now, counts) ||
      !CountLiveness(*db, "session", now, counts.sessions) ||
      !CountLiveness(*db, "token", now, counts.tokens)) {
    return DatabaseFailed(*db);
  }
  counts.file_bytes = SizeOf(options.database);
  counts.log_bytes = SizeOf(options.database + "-wal");
  if (options.json) {
    PrintObject(counts);
  } else {
    PrintText(counts);
  }
  return kDone;
}

}  // namespace

void AddStats(CLI::App& app, Work& work) {
  const auto options = std::make_shared<CommonOptions>();
  CLI::App& command = AddCommand(app, "stats",
                                 "Counts links, logins, sessions and tokens.\n"
                                 "Logins are those of the links that are there now.",
                                 "vexosharing stats");
  AddCommon(command, *options);
  command.callback([options, &work] { work = [options] { return Stats(*options); }; });
}

}  // namespace command
