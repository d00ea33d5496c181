#include "admin/database_check.h"
#include "subcommands/table.h"

namespace command {

namespace {

using admin::Finding;
using admin::Findings;

struct Options : CommonOptions {
  bool repair = false;
};

void PrintDetails(const Finding& finding, Style style) {
  {
    DetailList list;
    list.Add("Found", finding.text, style);
    list.Add("Where", JoinFirst(finding.items));
    const char* name = "To do";
    for (const std::string& step : finding.advice) {
      list.Add(name, step);  // each on a line of its own, to be pasted
      name = "";
    }
  }
  std::cout << "\n";
}

Json::Value FindingsJson(const std::map<size_t, Finding>& findings) {
  Json::Value array(Json::arrayValue);
  for (const auto& [at, finding] : findings) {
    array.append(JsonObject({{"kind", finding.kind},
                             {"text", finding.text},
                             {"advice", admin::JsonArray(finding.advice)},
                             {"items", admin::JsonArray(finding.items)}}));
  }
  return array;
}

void Print(const Findings& findings, bool json) {
  if (json) {
    PrintJson(JsonObject({{"links", Json::Int64{findings.links}},
                          {"problems", FindingsJson(findings.problems)},
                          {"remarks", FindingsJson(findings.remarks)}}));
    return;
  }
  for (const auto& [at, problem] : findings.problems) PrintDetails(problem, Style::kBad);
  for (const auto& [at, remark] : findings.remarks) PrintDetails(remark, Style::kWarning);
  const auto problems = static_cast<long>(findings.problems.size());
  std::cout << "Checked " << Counted(findings.links, "link") << ": "
            << (problems == 0 ? "no problems found" : Counted(problems, "problem"))
            << ".\n";
}

ExitCode Check(const Options& options) {
  const std::string& path = options.database;
  Findings findings;
  CheckFiles(path, findings);  // before a connection creates files
  admin::DatabaseAccess access;
  Error error = access.Open(path, options.repair ? Access::kWrite : Access::kRead);
  if (error) {
    // A wrong owner or mode may be the reason; other files are not checked.
    const bool ours = admin::ContentOf(path) == admin::DatabaseContent::kLinks;
    if (ours && !findings.problems.empty()) Print(findings, options.json);
    return Fail(error);
  }
  if (options.repair) error = admin::RepairSchema(access.database());
  if (error) return Fail(error);
  if (CheckDatabase(access.database(), ShowProgress("checking links"), findings)) {
    return Fail(kInterrupted, "interrupted after " + Counted(findings.links, "link") +
                                  ": the check is incomplete");
  }
  if (path == VEXO::sharing::SZF_SHARING_DB_PATH) CheckSystem(findings);
  Print(findings, options.json);
  return findings.problems.empty() ? kSuccess : kRefused;
}

}  // namespace

Action AddCheck(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  command.add_flag("--repair", options->repair, "create missing indexes and triggers");
  AddCommon(command, *options);
  return [options] { return Check(*options); };
}

}  // namespace command
