#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "admission.h"
#include "commands.h"
#include "database.h"
#include "database_content.h"
#include "interrupt.h"
#include "json.h"
#include "link_json.h"
#include "links.h"
#include "options.h"
#include "progress.h"
#include "result.h"
#include "statements.h"
#include "system_account.h"
#include "table.h"
#include "text.h"

namespace command {

namespace {

using VEXO::sharing::SZF_SHARING_DB_PATH;
using VEXO::sharing::db::Result;
using VEXO::sharing::db::Row;

constexpr long kSchemaVersion = 2;
constexpr mode_t kFileMode = 0660;
constexpr mode_t kFolderMode = 0750;
constexpr size_t kNamed = 10;  // items that are shown to a person

/// One kind of thing that was found.
struct Finding {
  std::string kind;  // for programs
  std::string text;
  std::vector<std::string> advice;
  std::vector<std::string> items;
};

struct Findings {
  std::vector<Finding> problems;
  std::vector<Finding> remarks;  // nothing is wrong, but somebody may not know
  std::vector<std::string> damage;
  long links = 0;
};

/// What is found link by link; each list becomes a finding unless it is empty.
struct LinkLists {
  std::vector<std::string> damaged;
  std::vector<std::string> owner_gone;
  std::vector<std::string> unknown_names;
  std::vector<std::string> md5;
  std::vector<std::string> endless;
};

void AddUnlessEmpty(std::vector<Finding>& findings, Finding finding) {
  if (!finding.items.empty()) findings.push_back(std::move(finding));
}

std::string Octal(mode_t mode) {
  char text[8];
  snprintf(text, sizeof text, "%04o", mode & 07777);
  return text;
}

/// Adds what must be done for the file or folder to be as it should.  A missing one is
/// not looked at.
void CheckMode(const std::string& path, mode_t mode, std::vector<std::string>& wrong,
               std::vector<std::string>& advice) {
  struct stat status = {};
  if (stat(path.c_str(), &status) == -1) return;
  if (status.st_uid != tools::kSystemUid || status.st_gid != tools::kSystemGid) {
    wrong.push_back(path + " belongs to " + std::to_string(status.st_uid) + ":" +
                    std::to_string(status.st_gid));
    advice.push_back("chown 1:1 " + path);
  }
  if ((status.st_mode & 07777) != mode) {
    wrong.push_back(path + " has mode " + Octal(status.st_mode));
    advice.push_back("chmod " + Octal(mode) + " " + path);
  }
}

void CheckFiles(const std::string& path, Findings& findings) {
  std::vector<std::string> wrong;
  std::vector<std::string> advice;
  // Another database may stand anywhere: only the system's own folder is known.
  if (path == SZF_SHARING_DB_PATH) {
    CheckMode(path.substr(0, path.rfind('/')), kFolderMode, wrong, advice);
  }
  for (const char* const part : kDatabaseFiles) {
    CheckMode(path + part, kFileMode, wrong, advice);
  }
  AddUnlessEmpty(findings.problems,
                 {"file_mode", "Owner or mode is not as it should be", advice, wrong});
}

/// Adds to the damage what does not fit together.
bool CheckIntegrity(BaseDB& db, Findings& findings) {
  Result result;
  if (!db.Execute("PRAGMA integrity_check", result)) return false;
  Row row;
  while (result.NextRow(row)) {
    std::istringstream lines(row.GetField("integrity_check").AsString(""));
    for (std::string line; std::getline(lines, line);) {
      const bool says_nothing = line == "ok" || line == "*** in database main ***";
      if (!says_nothing) findings.damage.push_back(line);
    }
  }
  return true;
}

bool CheckVersion(BaseDB& db, Findings& findings) {
  long version = 0;
  if (!tools::SelectNumber(db, "SELECT user_version AS n FROM pragma_user_version",
                           version)) {
    return false;
  }
  if (version != kSchemaVersion) {
    findings.problems.push_back({"schema_version",
                                 "The schema has a version that is not known here",
                                 {"install the programs that made it, or newer ones"},
                                 {"version " + std::to_string(version)}});
  }
  return true;
}

/// Tokens whose link or session is gone.
bool CheckTokens(BaseDB& db, Findings& findings) {
  const auto check = [&db, &findings](const std::string& of, const std::string& owner,
                                      const std::string& kind) {
    long tokens = 0;
    if (!tools::SelectNumber(
            db,
            "SELECT COUNT(*) AS n FROM token WHERE NOT EXISTS (SELECT 1 FROM " + of +
                " WHERE " + of + ".id = token." + of + "_id)",
            tokens)) {
      return false;
    }
    if (tokens > 0) {
      findings.problems.push_back(
          {kind,
           "Tokens outlive their " + owner,
           {"they open nothing; vexosharing purge takes them once they have expired"},
           {Counted(tokens, "token") + " of a " + owner + " that is gone"}});
    }
    return true;
  };
  return check("entry", "link", "token_without_link") &&
         check("session", "session", "token_without_session");
}

/// Whether users exist, each looked up once.
class Owners {
 public:
  bool Exists(const Entry& link) {
    const auto [found, is_new] = exists_.try_emplace(link.get_owner_uid(), false);
    if (is_new) found->second = !link.get_owner_user().empty();
    return found->second;
  }

 private:
  std::map<unsigned int, bool> exists_;
};

void CheckLink(const Entry& link, Owners& owners, LinkLists& lists) {
  const std::string hash = link.get_hash();
  if (!owners.Exists(link)) {
    lists.owner_gone.push_back(hash + " of " + std::to_string(link.get_owner_uid()));
  }
  for (const auto& [kind, names] : {std::pair("user", tools::UnresolvedUsers(link)),
                                    std::pair("group", tools::UnresolvedGroups(link))}) {
    for (const std::string& name : names) {
      lists.unknown_names.push_back(hash + " admits " + kind + " " + name);
    }
  }
  if (link.get_protect_type() == Entry::PROTECT_PASSWORD &&
      link.get_protect_password_algo() == Entry::ENCRYPT_ALGO_MD5) {
    lists.md5.push_back(hash);
  }
  if (link.get_expire_at() == 0) lists.endless.push_back(hash);
}

/// Looks at each link; `count` says how many there were.
bool ReadLinks(BaseDB& db, LinkLists& lists, long& count) {
  LinkReader reader(db, "", "id");
  Progress progress("checking links", reader.total());
  Owners owners;
  Entry link;
  while (reader.Next(link)) {
    CheckLink(link, owners, lists);
    progress.Show(reader.done());
  }
  for (const DamagedLink& row : reader.damaged()) {
    lists.damaged.push_back(row.hash + " (id " + std::to_string(row.id) + ")");
  }
  count = reader.done();
  return reader.good();
}

bool CheckLinks(BaseDB& db, Findings& findings) {
  LinkLists lists;
  const bool read = ReadLinks(db, lists, findings.links);
  AddUnlessEmpty(findings.problems,
                 {"damaged_row",
                  "Rows do not read, and open for nobody",
                  {"take the links from a backup, or vexosharing delete HASH"},
                  std::move(lists.damaged)});
  AddUnlessEmpty(
      findings.problems,
      {"owner_gone",
       "Links have an owner who does not exist any more",
       {"vexosharing transfer --from NUMBER --to USER, or vexosharing delete HASH"},
       std::move(lists.owner_gone)});
  AddUnlessEmpty(
      findings.problems,
      {"unknown_name",
       "Links admit users or groups that do not exist: whoever gets such a "
       "name or number is let in",
       {"vexosharing edit HASH --user NAME --group NAME, with those who are to "
        "be admitted"},
       std::move(lists.unknown_names)});
  AddUnlessEmpty(findings.problems,
                 {"md5_password",
                  "Passwords are stored as plain MD5",
                  {"vexosharing edit HASH --password-stdin, also with the same password"},
                  std::move(lists.md5)});
  AddUnlessEmpty(findings.remarks,
                 {"no_expiry",
                  "Links never expire",
                  {"where that is not wanted, vexosharing edit HASH --expire WHEN"},
                  std::move(lists.endless)});
  return read;
}

void PrintSheet(const Finding& finding, Style style) {
  const size_t named = std::min(finding.items.size(), kNamed);
  std::vector<std::string> shown(finding.items.begin(), finding.items.begin() + named);
  if (finding.items.size() > named) {
    shown.push_back("and " + std::to_string(finding.items.size() - named) + " more");
  }
  {
    Sheet sheet;
    sheet.Add("Found", finding.text, style);
    sheet.Add("Where", Join(shown));
    const char* name = "To do";
    for (const std::string& step : finding.advice) {
      sheet.Add(name, step);  // each in a line of its own, which can be pasted
      name = "";
    }
  }
  std::cout << "\n";
}

void PrintText(const Findings& findings) {
  for (const Finding& problem : findings.problems) PrintSheet(problem, Style::kBad);
  for (const Finding& remark : findings.remarks) PrintSheet(remark, Style::kWarning);
  std::cout << "Looked at " << Counted(findings.links, "link") << ": "
            << (findings.problems.empty()
                    ? "nothing is wrong"
                    : Counted(static_cast<long>(findings.problems.size()), "problem"))
            << ".\n";
}

Json::Value FindingsJson(const std::vector<Finding>& findings) {
  Json::Value array(Json::arrayValue);
  for (const Finding& finding : findings) {
    Json::Value element(Json::objectValue);
    element["kind"] = finding.kind;
    element["text"] = finding.text;
    element["advice"] = tools::JsonArray(finding.advice);
    element["items"] = tools::JsonArray(finding.items);
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
  out["links"] = Json::Value::Int64{findings.links};
  out["problems"] = FindingsJson(findings.problems);
  out["remarks"] = FindingsJson(findings.remarks);
  PrintJson(out);
}

/// A part that cannot be read does not hide what the others hold.
void LookOver(BaseDB& db, Findings& findings) {
  const auto note = [&db, &findings](const std::string& part, bool read) {
    // Before the single pages, of which a person sees the first few.
    if (!read) {
      findings.damage.insert(findings.damage.begin(), part + ": " + db.GetLastError());
    }
    return read;
  };
  note("pages", CheckIntegrity(db, findings));
  note("version", CheckVersion(db, findings));
  const bool has_links = note("links", CheckLinks(db, findings));
  note("tokens", CheckTokens(db, findings));
  std::vector<std::string> advice;
  if (has_links) advice.push_back("vexosharing export FILE, to save the links");
  advice.push_back("put a backup in its place; vexosharing(1) says how");
  AddUnlessEmpty(findings.problems,
                 {"integrity", "The file is damaged", advice, findings.damage});
}

Outcome Check(const CommonOptions& options) {
  Findings findings;
  CheckFiles(options.database, findings);  // before a connection changes what is there
  const std::unique_ptr<SharingDB> db = OpenDatabase(options.database);
  if (db == nullptr) {
    // A wrong owner or mode may be the very reason; those of other files are not ours to
    // judge.
    const DatabaseContent content = ContentOf(options.database);
    const bool ours =
        content == DatabaseContent::kLinks || content == DatabaseContent::kUnreadable;
    if (ours && !findings.problems.empty()) Print(findings, options.json);
    return kNotUsable;
  }
  LookOver(*db, findings);
  if (Interrupted()) {
    return End(kInterrupted, "interrupted after " + Counted(findings.links, "link") +
                                 ": nothing is told");
  }
  Print(findings, options.json);
  return findings.problems.empty() ? kDone : kRefused;
}

}  // namespace

void AddCheck(CLI::App& app, Work& work) {
  const auto options = std::make_shared<CommonOptions>();
  CLI::App& command =
      AddCommand(app, "check",
                 "Checks the whole database, and says what to do.\n"
                 "It ends with 0 when nothing is wrong, and with 1 when something is.\n"
                 "Links that never expire are mentioned only.",
                 "vexosharing check");
  AddCommon(command, *options);
  command.callback([options, &work] { work = [options] { return Check(*options); }; });
}

}  // namespace command
