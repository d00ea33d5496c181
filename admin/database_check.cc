#include "admin/database_check.h"

#include <sys/stat.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <utility>

#include "admin/accounts.h"
#include "admin/database_access.h"
#include "admin/link_reader.h"
#include "admin/link_state.h"
#include "admin/queries.h"
#include "admin/sqlite_connection.h"
#include "base/system_account.h"
#include "keys.h"

namespace admin {

namespace {

using VEXO::sharing::SZF_SHARING_DB_PATH;
using VEXO::sharing::db::Row;
using VEXO::sharing::db::SharingDB;

namespace fs = std::filesystem;

constexpr mode_t kFileMode = 0660;
constexpr mode_t kFolderMode = 0750;
const char* const kSchemaFolder = "/usr/vexo/share/vexosharing/db_schema/";
const char* const kBlockFolder = "/usr/vexo/etc/private/autoblock";
const char* const kUrlTool = "/usr/vexo/bin/vexosharingurl";
const char* const kUrlCheck = "/usr/vexo/bin/vexosharingurl --check 2>&1";

void AddUnlessEmpty(std::vector<Finding>& findings, Finding finding) {
  if (!finding.items.empty()) findings.push_back(std::move(finding));
}

std::string Octal(mode_t mode) {
  std::array<char, 8> text = {};
  snprintf(text.data(), text.size(), "%04o", mode & 07777);
  return text.data();
}

/// Adds what is wrong with owner and mode, and the commands that correct it.  A missing
/// file is skipped.
void CheckMode(const std::string& path, mode_t mode, Finding& finding) {
  using namespace VEXO::base;
  struct stat status = {};
  if (stat(path.c_str(), &status) == -1) return;
  if (status.st_uid != kSystemUid || status.st_gid != kSystemGid) {
    finding.items.push_back(path + " is owned by " + std::to_string(status.st_uid) + ":" +
                            std::to_string(status.st_gid));
    finding.advice.push_back("chown 1:1 " + path);
  }
  if ((status.st_mode & 07777) != mode) {
    finding.items.push_back(path + " has mode " + Octal(status.st_mode));
    finding.advice.push_back("chmod " + Octal(mode) + " " + path);
  }
}

/// The name and SQL text of every table, index and trigger, by type and name.
using Schema = std::map<std::pair<std::string, std::string>, std::string>;

std::string SchemaFile(int version) {
  std::ifstream file(kSchemaFolder + std::to_string(version) + ".sql");
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

/// The schema that the installed schema files create.
Schema ExpectedSchema() {
  int code = SQLITE_OK;
  const Connection connection = Connect(":memory:", SQLITE_OPEN_READWRITE, code);
  Schema schema;
  const auto add = [](void* out, int /*columns*/, char** values, char** /*names*/) {
    if (values[2] != nullptr) {
      (*static_cast<Schema*>(out))[{values[0], values[1]}] = values[2];
    }
    return 0;
  };
  for (int version = 1; version <= kSchemaVersion; ++version) {
    sqlite3_exec(connection.get(), SchemaFile(version).c_str(), nullptr, nullptr,
                 nullptr);
  }
  sqlite3_exec(connection.get(), "SELECT type, name, sql FROM sqlite_master", add,
               &schema, nullptr);
  return schema;
}

/// Checks a database part by part.
class Checker {
 public:
  Checker(SharingDB& database, Findings& findings)
      : database_(database), findings_(findings), now_(time(nullptr)) {}

  void CheckPages() {
    Result result;
    if (!Read("pages", CheckIntegrity(database_, result))) return;
    Row row;
    while (result.NextRow(row)) {
      std::istringstream lines(row.GetField("integrity_check").AsString(""));
      for (std::string line; std::getline(lines, line);) {
        const bool heading = line == "ok" || line == "*** in database main ***";
        if (!heading) damage_.push_back(line);
      }
    }
  }

  void CheckSchema() {
    long version = 0;
    Result result;
    long application_id = 0;
    if (!Read("schema", SelectSchemaVersion(database_, version) &&
                            SelectApplicationId(database_, application_id) &&
                            SelectSchema(database_, result))) {
      return;
    }
    if (version != kSchemaVersion) {
      Problem({"schema_version",
               "Unknown schema version",
               {"install a newer version of the programs"},
               {"version " + std::to_string(version)}});
      return;
    }
    Schema missing = ExpectedSchema();
    Finding wrong = {"wrong_table",
                     "Tables with unexpected columns",
                     {"vexosharing restore FILE with the latest backup"},
                     {}};
    Row row;
    while (result.NextRow(row)) {
      const auto expected = missing.find(
          {row.GetField("type").AsString(""), row.GetField("name").AsString("")});
      if (expected == missing.end()) continue;
      if (expected->second != row.GetField("sql").AsString("")) {
        wrong.items.push_back(expected->first.first + " " + expected->first.second);
      }
      missing.erase(expected);
    }
    Finding dropped = {"missing_schema",
                       "Parts of the schema are missing",
                       {"vexosharing check --repair"},
                       {}};
    for (const auto& [name, sql] : missing) {
      dropped.items.push_back("missing " + name.first + " " + name.second);
    }
    if (application_id == 0) dropped.items.emplace_back("missing application id");
    Problem(wrong);
    Problem(dropped);
  }

  /// False when `progress` ended it.
  bool CheckLinks(const std::function<bool(long done, long total)>& progress) {
    LinkReader reader(database_, "", "id");
    Entry link;
    while (reader.Next(link)) {
      CheckLink(link);
      if (!progress(reader.done(), reader.total())) return false;
    }
    findings_.links = reader.done();
    for (const UnreadableLink& row : reader.unreadable()) {
      unreadable_.items.push_back(row.hash + " (id " + std::to_string(row.id) + ")");
    }
    can_export_ = Read("links", reader.good());
    for (const Finding& finding :
         {unreadable_, owner_gone_, unknown_names_, unusable_owner_, md5_}) {
      Problem(finding);
    }
    AddUnlessEmpty(findings_.remarks, not_looked_up_);
    AddUnlessEmpty(findings_.remarks, endless_);
    return true;
  }

  void CheckVisitors() {
    CheckRows("session", DamagedSession(),
              "/usr/vexo/bin/vexowebapi --exec api=VEXO.Sharing.Session version=1 "
              "method=delete id=ID");
    CheckRows("token", DamagedToken(),
              "/usr/vexo/bin/vexowebapi --exec api=VEXO.Sharing.Token version=1 "
              "method=delete id=ID");
    CheckOrphans("entry", "link", "token_without_link");
    CheckOrphans("session", "session", "token_without_session");
  }

  void ReportDamage() {
    std::vector<std::string> advice;
    if (can_export_) advice.emplace_back("vexosharing export FILE to save the links");
    advice.emplace_back("vexosharing restore FILE with the latest backup");
    Problem({"integrity", "Damaged database file", advice, damage_});
  }

 private:
  void Problem(const Finding& finding) { AddUnlessEmpty(findings_.problems, finding); }

  bool Read(const std::string& part, bool read) {
    // Before the single pages, because the text output shows the first items only.
    if (!read) {
      damage_.insert(damage_.begin(), part + ": " + database_.GetLastError());
    }
    return read;
  }

  void CheckLink(const Entry& link) {
    const std::string hash = link.get_hash();
    CheckOwner(link);
    CheckNames(hash, "user", link.get_protect_users(), link.get_protect_uids());
    CheckNames(hash, "group", link.get_protect_groups(), link.get_protect_gids());
    if (link.get_protect_type() == Entry::PROTECT_PASSWORD &&
        link.get_protect_password_algo() == Entry::ENCRYPT_ALGO_MD5) {
      md5_.items.push_back(hash);
    }
    if (link.get_expire_at() == 0) endless_.items.push_back(hash);
  }

  void CheckOwner(const Entry& link) {
    const std::string hash = link.get_hash();
    const unsigned int uid = link.get_owner_uid();
    const auto [known, is_new] = owners_.try_emplace(uid);
    Owner& owner = known->second;
    if (is_new) {
      owner.found = FindUser(uid, &owner.name);
      if (owner.found == Lookup::kFound) owner.state = StateOfAccount(owner.name, now_);
    }
    if (owner.found == Lookup::kNotFound) {
      owner_gone_.items.push_back(hash + " of " + std::to_string(uid));
    } else if (owner.found == Lookup::kUnknown) {
      not_looked_up_.items.push_back(hash + ": owner " + std::to_string(uid));
    } else if (owner.state != AccountState::kActive &&
               StateOf(link, now_) == LinkState::kUsable) {
      const bool locked = owner.state == AccountState::kLocked;
      unusable_owner_.items.push_back(hash + " of " + owner.name +
                                      (locked ? " (locked)" : " (expired)"));
      const std::string advice =
          "vexosharing edit --where-owner " + owner.name + " --disable";
      if (!owner.reported) unusable_owner_.advice.push_back(advice);
      owner.reported = true;
    }
  }

  template <class Ids>
  void CheckNames(const std::string& hash, const std::string& kind,
                  const std::vector<std::string>& names, const Ids& ids) {
    const auto check = [&](const std::string& name, Lookup found) {
      const std::string item = hash + " allows " + kind + " " + name;
      if (found == Lookup::kNotFound) unknown_names_.items.push_back(item);
      if (found == Lookup::kUnknown) not_looked_up_.items.push_back(item);
    };
    const bool users = kind == "user";
    for (const std::string& name : names) {
      check(name, users ? FindUser(name) : FindGroup(name));
    }
    for (const unsigned int id : ids) {
      check(std::to_string(id), users ? FindUser(id) : FindGroup(id));
    }
  }

  void CheckRows(const std::string& table, const std::string& damaged,
                 const std::string& advice) {
    Result result;
    if (!Read(table + "s", SelectRows(database_, "id", table, damaged, 0, 0, result))) {
      return;
    }
    Finding finding = {
        "damaged_" + table, "Unreadable rows in the table " + table, {advice}, {}};
    Row row;
    while (result.NextRow(row)) {
      finding.items.push_back("id " + row.GetField("id").AsString(""));
    }
    Problem(finding);
  }

  void CheckOrphans(const std::string& table, const std::string& owner,
                    const std::string& kind) {
    long tokens = 0;
    if (!Read("tokens", CountOrphanTokens(database_, table, tokens)) || tokens == 0) {
      return;
    }
    Problem({kind,
             "Tokens of deleted " + owner + "s",
             {"no action needed: they grant no access, and vexosharing purge deletes "
              "them once "
              "expired"},
             {std::to_string(tokens) + (tokens == 1 ? " token" : " tokens") +
              " of deleted " + owner + "s"}});
  }

  struct Owner {
    Lookup found = Lookup::kUnknown;
    std::string name;
    AccountState state = AccountState::kActive;
    bool reported = false;
  };

  SharingDB& database_;
  Findings& findings_;
  const long now_;
  bool can_export_ = false;
  std::map<unsigned int, Owner> owners_;  // each looked up once
  std::vector<std::string> damage_;
  Finding unreadable_ = {"damaged_row",
                         "Unreadable rows: these links cannot be used",
                         {"restore a backup, or vexosharing delete HASH"},
                         {}};
  Finding owner_gone_ = {
      "owner_gone",
      "Links whose owner does not exist",
      {"vexosharing transfer --from NUMBER --to USER, or vexosharing delete HASH"},
      {}};
  Finding unknown_names_ = {
      "unknown_name",
      "Links allow unknown users or groups: an account created later with such a name "
      "or id gets access",
      {"vexosharing edit HASH --user NAME --group NAME with the correct names"},
      {}};
  Finding unusable_owner_ = {"owner_disabled",
                             "Usable links of owners whose account is locked or expired",
                             {},
                             {}};
  Finding md5_ = {
      "md5_password",
      "Passwords stored as plain MD5",
      {"vexosharing edit HASH --password-stdin (the password can be the same)"},
      {}};
  Finding not_looked_up_ = {
      "lookup_failed",
      "Accounts that could not be looked up",
      {"check the directory service, then run vexosharing check again"},
      {}};
  Finding endless_ = {"no_expiry",
                      "Links that never expire",
                      {"if not intended, vexosharing edit HASH --expire WHEN"},
                      {}};
};

/// The first fault that SQLite finds in the file, which programs may be writing; a lock
/// that is held for long is none.  Empty if there is none.
std::string IntegrityOf(const std::string& path) {
  int code = SQLITE_OK;
  const Connection connection = Connect(path, SQLITE_OPEN_READWRITE, code);
  std::string fault;
  const auto read = [](void* out, int /*columns*/, char** values, char** /*names*/) {
    *static_cast<std::string*>(out) = values[0];
    return 0;
  };
  if (connection != nullptr) {
    code = sqlite3_exec(connection.get(), "PRAGMA integrity_check(1)", read, &fault,
                        nullptr);
  }
  if (code == SQLITE_NOTADB) return "not a database";
  if (code != SQLITE_OK) return code == SQLITE_BUSY ? "" : sqlite3_errstr(code);
  return fault == "ok" ? "" : fault;
}

void CheckBlockList(Findings& findings) {
  const std::string path = std::string(kBlockFolder) + "/autoblock.db";
  Finding damaged = {
      "block_list",
      "Damaged list of blocked addresses",
      {"no action needed: the next failed login moves it aside and starts a new one"},
      {}};
  Finding moved = {"moved_block_list",
                   "Damaged lists of blocked addresses that were moved aside",
                   {"delete them"},
                   {}};
  std::error_code error;
  if (fs::exists(path, error)) {
    const std::string fault = IntegrityOf(path);
    if (!fault.empty()) damaged.items.push_back(path + ": " + fault);
  }
  for (const auto& file : fs::directory_iterator(kBlockFolder, error)) {
    const std::string name = file.path().filename();
    if (name.rfind("autoblock.db.damaged-", 0) == 0) moved.items.push_back(file.path());
  }
  AddUnlessEmpty(findings.problems, damaged);
  AddUnlessEmpty(findings.remarks, moved);
}

void CheckUrls(Findings& findings) {
  Finding wrong = {
      "url", "Invalid URL configuration", {"correct /usr/vexo/etc/sharing-url.conf"}, {}};
  if (!fs::exists(kUrlTool)) return;  // the other subcommands say that URLs are unknown
  FILE* const tool = popen(kUrlCheck, "re");  // NOLINT(cert-env33-c): a fixed path
  if (tool == nullptr) return;
  std::string output;
  std::array<char, 512> part = {};
  while (fgets(part.data(), static_cast<int>(part.size()), tool) != nullptr) {
    output += part.data();
  }
  const int status = pclose(tool);
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) wrong.items.push_back(line);
  if (status != 0) AddUnlessEmpty(findings.problems, wrong);
}

}  // namespace

void CheckFiles(const std::string& path, Findings& findings) {
  Finding finding = {"file_mode", "Wrong owner or mode", {}, {}};
  // Another database may be in any folder.
  if (path == SZF_SHARING_DB_PATH) {
    CheckMode(path.substr(0, path.rfind('/')), kFolderMode, finding);
  }
  for (const char* const suffix : kDatabaseFiles) {
    CheckMode(path + suffix, kFileMode, finding);
  }
  AddUnlessEmpty(findings.problems, finding);
}

Error CheckDatabase(SharingDB& database,
                    const std::function<bool(long done, long total)>& progress,
                    Findings& findings) {
  Checker checker(database, findings);
  checker.CheckPages();
  checker.CheckSchema();
  if (!checker.CheckLinks(progress)) return {kInterrupted, "interrupted", ""};
  checker.CheckVisitors();
  checker.ReportDamage();
  return {};
}

void CheckSystem(Findings& findings) {
  CheckBlockList(findings);
  CheckUrls(findings);
}

Error RepairSchema(SharingDB& database) {
  long present = 0;
  if (!SelectSchemaVersion(database, present)) return DatabaseError(database);
  if (present > kSchemaVersion) {
    return {kFailed, "unknown schema version " + std::to_string(present),
            "install a newer version of the programs"};
  }
  for (int version = 1; version <= kSchemaVersion; ++version) {
    if (!database.Execute(SchemaFile(version))) {
      Error error = DatabaseError(database);
      database.Execute("ROLLBACK");
      return error;
    }
  }
  return {};
}

}  // namespace admin
