#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "admin/database_access.h"
#include "admin/database_check.h"
#include "admin/json_text.h"
#include "cli/interrupt.h"
#include "cli/options.h"
#include "cli/report.h"
#include "keys.h"
#include "subcommands/table.h"
#include "terminal/json.h"
#include "terminal/progress.h"
#include "terminal/table.h"
#include "terminal/text.h"

namespace command {

namespace {

using admin::Finding;
using admin::Findings;

constexpr size_t kNamed = 10;  // items shown to a person

struct Options {
  CommonOptions common;
  bool repair = false;
};

void PrintDetails(const Finding& finding, Style style) {
  const size_t named = std::min(finding.items.size(), kNamed);
  std::vector<std::string> shown(finding.items.begin(),
                                 finding.items.begin() + static_cast<long>(named));
  if (finding.items.size() > named) {
    shown.push_back("and " + std::to_string(finding.items.size() - named) + " more");
  }
  {
    DetailList list;
    list.Add("Found", finding.text, style);
    list.Add("Where", Join(shown));
    const char* name = "To do";
    for (const std::string& step : finding.advice) {
      list.Add(name, step);  // each on a line of its own, to be pasted
      name = "";
    }
  }
  std::cout << "\n";
}

void PrintText(const Findings& findings) {
  for (const Finding& problem : findings.problems) PrintDetails(problem, Style::kBad);
  for (const Finding& remark : findings.remarks) PrintDetails(remark, Style::kWarning);
  std::cout << "Checked " << Counted(findings.links, "link") << ": "
            << (findings.problems.empty()
                    ? "no problems found"
                    : Counted(static_cast<long>(findings.problems.size()), "problem"))
            << ".\n";
}

Json::Value FindingsJson(const std::vector<Finding>& findings) {
  Json::Value array(Json::arrayValue);
  for (const Finding& finding : findings) {
    Json::Value element(Json::objectValue);
    element["kind"] = finding.kind;
    element["text"] = finding.text;
    element["advice"] = admin::JsonArray(finding.advice);
    element["items"] = admin::JsonArray(finding.items);
    array.append(element);
  }
  return array;
}

void Print(const Findings& findings, bool json) {
  if (!json) {
    PrintText(findings);
    return;
  }
  Json::Value out(Json::objectValue);
  out["links"] = Json::Int64{findings.links};
  out["problems"] = FindingsJson(findings.problems);
  out["remarks"] = FindingsJson(findings.remarks);
  PrintJson(out);
}

ExitCode Check(const Options& options) {
  const std::string& path = options.common.database;
  Findings findings;
  CheckFiles(path, findings);  // before a connection creates files
  admin::DatabaseAccess access;
  const auto mode = options.repair ? admin::Access::kWrite : admin::Access::kRead;
  admin::Error error = access.Open(path, mode);
  if (error) {
    // A wrong owner or mode may be the reason; other files are not checked.
    const bool ours = admin::ContentOf(path) == admin::DatabaseContent::kLinks;
    if (ours && !findings.problems.empty()) Print(findings, options.common.json);
    return Fail(error);
  }
  if (options.repair) error = admin::RepairSchema(access.database());
  if (error) return Fail(error);
  {
    Progress progress("checking links", 0);
    error = CheckDatabase(
        access.database(),
        [&progress](long done, long total) {
          progress.SetTotal(total);
          progress.Show(done);
          return !Interrupted();
        },
        findings);
  }
  if (error) {
    return Fail(kInterrupted, "interrupted after " + Counted(findings.links, "link") +
                                  ": the check is incomplete");
  }
  if (path == VEXO::sharing::SZF_SHARING_DB_PATH) CheckSystem(findings);
  Print(findings, options.common.json);
  return findings.problems.empty() ? kSuccess : kRefused;
}

}  // namespace

void AddCheck(CLI::App& command, Action& action) {
  const auto options = std::make_shared<Options>();
  command.add_flag("--repair", options->repair, "create missing indexes and triggers");
  AddCommon(command, options->common);
  SetAction(command, action, options, Check);
}

}  // namespace command
