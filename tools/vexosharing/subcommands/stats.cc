#include <sys/stat.h>

#include <ctime>
#include <map>

#include "subcommands/table.h"

namespace command {

namespace {

struct Counts {
  std::map<std::string, admin::LinkCounts> projects;
  admin::VisitorCounts sessions;
  admin::VisitorCounts tokens;
  long file_bytes = 0;
  long log_bytes = 0;
};

/// 0 for a missing file.
long SizeOf(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 ? status.st_size : 0;
}

std::string SizeText(long bytes) {
  return bytes < 1048576 ? std::to_string((bytes + 1023) / 1024) + " KiB"
                         : std::to_string((bytes + 524288) / 1048576) + " MiB";
}

std::string VisitorText(const admin::VisitorCounts& counts) {
  return std::to_string(counts.alive) + " valid, " +
         std::to_string(counts.total - counts.alive) + " expired";
}

void PrintText(const Counts& counts) {
  const admin::LinkCounts all = Sum(counts.projects);
  {
    DetailList list;
    list.Add("Links", std::to_string(all.total));
    for (const LinkState state : admin::kLinkStates) {
      const long links = all.Of(state);
      list.Add("  " + StateWords(state), std::to_string(links),
               links == 0 ? Style::kFaint : StateStyle(state));
    }
    list.Add("Logins", std::to_string(all.logins));
    list.Add("Sessions", VisitorText(counts.sessions));
    list.Add("Tokens", VisitorText(counts.tokens));
    list.Add("Size", SizeText(counts.file_bytes) + " and " + SizeText(counts.log_bytes) +
                         " write-ahead log");
  }
  if (counts.projects.empty()) return;
  std::cout << "\n";
  Table table({{"PROJECT", true},
               {"LINKS"},
               {"USABLE"},
               {"NOT STARTED"},
               {"EXPIRED"},
               {"USED UP"},
               {"DISABLED"},
               {"LOGINS"}});
  for (const auto& [project, links] : counts.projects) {
    std::vector<Table::Cell> row = {project, std::to_string(links.total)};
    for (const LinkState state : admin::kLinkStates) {
      row.emplace_back(std::to_string(links.Of(state)));
    }
    row.emplace_back(std::to_string(links.logins));
    table.Add(row);
  }
}

void PrintObject(const Counts& counts) {
  Json::Value out = admin::LinkCountsJson(Sum(counts.projects));
  out["projects"] = Json::Value(Json::arrayValue);
  for (const auto& [project, links] : counts.projects) {
    Json::Value element = admin::LinkCountsJson(links);
    element[VEXO::sharing::SZK_PROJECT_NAME] = project;
    out["projects"].append(element);
  }
  out["sessions"] = admin::VisitorCountsJson(counts.sessions);
  out["tokens"] = admin::VisitorCountsJson(counts.tokens);
  out["file_bytes"] = Json::Int64{counts.file_bytes};
  out["log_bytes"] = Json::Int64{counts.log_bytes};
  PrintJson(out);
}

ExitCode Stats(const CommonOptions& options) {
  admin::DatabaseAccess access;
  Error error = access.Open(options.database, Access::kRead);
  if (error) return Fail(error);
  const long now = time(nullptr);
  Counts counts;
  error = CountLinks(access.database(), now, counts.projects);
  if (!error) error = CountVisitors(access.database(), "session", now, counts.sessions);
  if (!error) error = CountVisitors(access.database(), "token", now, counts.tokens);
  if (error) return Fail(error);
  counts.file_bytes = SizeOf(options.database);
  counts.log_bytes = SizeOf(options.database + "-wal");
  if (options.json) {
    PrintObject(counts);
  } else {
    PrintText(counts);
  }
  return kSuccess;
}

}  // namespace

Action AddStats(CLI::App& command) {
  const auto options = std::make_shared<CommonOptions>();
  AddCommon(command, *options);
  return [options] { return Stats(*options); };
}

}  // namespace command
