#include "admin/database_check.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "admin/accounts.h"
#include "admin/database_access.h"
#include "admin/link_data.h"
#include "admin/queries.h"
#include "base/system_account.h"
#include "keys.h"

namespace admin {

namespace {

using VEXO::sharing::SZF_SHARING_DB_PATH;
using VEXO::sharing::db::Row;
using VEXO::sharing::db::SharingDB;

namespace fs = std::filesystem;

constexpr mode_t kFolderMode = 0750;
constexpr char kOrphanAdvice[] =
    "no action needed: they grant no access, and vexosharing purge deletes them once "
    "expired";
const char* const kSchemaFolder = "/usr/vexo/share/vexosharing/db_schema/";
const char* const kBlockFolder = "/usr/vexo/etc/private/autoblock";
const char* const kUrlTool = "/usr/vexo/bin/vexosharingurl";
const char* const kUrlCheck = "/usr/vexo/bin/vexosharingurl --check 2>&1";

/// What is said of a kind of finding.
struct Kind {
  const char* name;
  const char* text;
  const char* advice;  // null when it depends on what was found
  bool is_remark = false;
};

/// Every kind, in the order in which they are reported.
constexpr Kind kKinds[] = {
    {"file_mode", "Wrong owner or mode", nullptr},
    {"schema_version", "Unknown schema version",
     "install a newer version of the programs"},
    {"wrong_table", "Tables with unexpected columns",
     "vexosharing restore FILE with the latest backup"},
    {"missing_schema", "Parts of the schema are missing", "vexosharing check --repair"},
    {"damaged_row", "Unreadable rows: these links cannot be used",
     "restore a backup, or vexosharing delete HASH"},
    {"owner_gone", "Links whose owner does not exist",
     "vexosharing transfer --from NUMBER --to USER, or vexosharing delete HASH"},
    {"unknown_name",
     "Links allow unknown users or groups: an account created later with such a name or "
     "id gets access",
     "vexosharing edit HASH --user NAME --group NAME with the correct names"},
    {"owner_disabled", "Usable links of owners whose account is locked or expired",
     nullptr},
    {"md5_password", "Passwords stored as plain MD5",
     "vexosharing edit HASH --password-stdin (the password can be the same)"},
    {"damaged_session", "Unreadable rows in the table session",
     "/usr/vexo/bin/vexowebapi --exec api=VEXO.Sharing.Session version=1 method=delete "
     "id=ID"},
    {"damaged_token", "Unreadable rows in the table token",
     "/usr/vexo/bin/vexowebapi --exec api=VEXO.Sharing.Token version=1 method=delete "
     "id=ID"},
    {"token_without_link", "Tokens of deleted links", kOrphanAdvice},
    {"token_without_session", "Tokens of deleted sessions", kOrphanAdvice},
    {"integrity", "Damaged database file",
     "vexosharing restore FILE with the latest backup"},
    {"block_list", "Damaged list of blocked addresses",
     "no action needed: the next failed login moves it aside and starts a new one"},
    {"url", "Invalid URL configuration", "correct /usr/vexo/etc/sharing-url.conf"},
    {"lookup_failed", "Accounts that could not be looked up",
     "check the directory service, then run vexosharing check again", true},
    {"no_expiry", "Links that never expire",
     "if not intended, vexosharing edit HASH --expire WHEN", true},
    {"moved_block_list", "Damaged lists of blocked addresses that were moved aside",
     "delete them", true},
};

std::string Octal(mode_t mode) {
  std::array<char, 8> text = {};
  snprintf(text.data(), text.size(), "%04o", mode & 07777);
  return text.data();
}

/// Adds what is wrong with owner and mode, and the commands that correct it.  A missing
/// file is skipped.
void CheckMode(const std::string& path, mode_t mode, Findings& findings) {
  using namespace VEXO::base;
  struct stat status = {};
  if (stat(path.c_str(), &status) == -1) return;
  if (status.st_uid != kSystemUid || status.st_gid != kSystemGid) {
    findings.Add("file_mode",
                 path + " is owned by " + std::to_string(status.st_uid) + ":" +
                     std::to_string(status.st_gid),
                 "chown 1:1 " + path);
  }
  if ((status.st_mode & 07777) != mode) {
    findings.Add("file_mode", path + " has mode " + Octal(status.st_mode),
                 "chmod " + Octal(mode) + " " + path);
  }
}

/// The SQL text of every table, index and trigger, by type and name.
using Schema = std::map<std::string, std::string>;

std::string SchemaFile(int version) {
  std::ifstream file(kSchemaFolder + std::to_string(version) + ".sql");
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

/// The schema that the installed schema files create.
Schema ExpectedSchema() {
  const Connection connection(":memory:", SQLITE_OPEN_READWRITE);
  for (int version = 1; version <= kSchemaVersion; ++version) {
    connection.Run(SchemaFile(version));
  }
  Rows rows;
  connection.Run(kSelectSchema, &rows);
  Schema schema;
  for (const auto& row : rows) {
    if (!row[2].empty()) schema[row[0] + " " + row[1]] = row[2];
  }
  return schema;
}

/// Checks a database part by part.
class Checker {
 public:
  Checker(SharingDB& database, Findings& findings)
      : database_(database), findings_(findings), now_(time(nullptr)) {}

  void CheckPages() {
    Result result;
    if (!Read("pages", database_.Execute(kCheckIntegrity, result))) return;
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
    if (!Read("schema", SelectPragma(database_, "user_version", version) &&
                            SelectPragma(database_, "application_id", application_id) &&
                            database_.Execute(kSelectSchema, result))) {
      return;
    }
    if (version != kSchemaVersion) {
      return findings_.Add("schema_version", "version " + std::to_string(version));
    }
    Schema missing = ExpectedSchema();
    Row row;
    while (result.NextRow(row)) {
      const std::string name =
          row.GetField("type").AsString("") + " " + row.GetField("name").AsString("");
      const auto expected = missing.find(name);
      if (expected == missing.end()) continue;
      const bool same = expected->second == row.GetField("sql").AsString("");
      if (!same) findings_.Add("wrong_table", name);
      missing.erase(expected);
    }
    for (const auto& [name, sql] : missing) {
      findings_.Add("missing_schema", "missing " + name);
    }
    if (application_id == 0) findings_.Add("missing_schema", "missing application id");
  }

  /// False when `progress` ended it.
  bool CheckLinks(const std::function<bool(long done, long total)>& progress) {
    LinkReader reader(database_, "", "id");
    Entry link;
    while (reader.Next(link)) {
      CheckLink(link);
      findings_.links = reader.done();
      if (!progress(reader.done(), reader.total())) return false;
    }
    findings_.links = reader.done();  // with the unreadable rows at the end
    for (const auto& [id, hash] : reader.unreadable()) {
      findings_.Add("damaged_row", hash + " (id " + std::to_string(id) + ")");
    }
    can_export_ = Read("links", reader.good());
    return true;
  }

  void CheckVisitors() {
    CheckRows("session", kDamagedSession);
    CheckRows("token", kDamagedToken);
    CheckOrphans("entry", "link");
    CheckOrphans("session", "session");
  }

  /// Adds the damage, of which the advice depends on the other parts.
  void ReportDamage() {
    for (const std::string& item : damage_) {
      findings_.Add("integrity", item,
                    can_export_ ? "vexosharing export FILE to save the links" : "");
    }
  }

 private:
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
    const LinkData data = ReadLinkData(link);
    CheckAllowed(hash + " allows user ",
                 Users().Accounts(data.protect_uids_, data.protect_extra_users_));
    CheckAllowed(hash + " allows group ",
                 Groups().Accounts(data.protect_gids_, data.protect_extra_groups_));
    if (link.get_protect_type() == Entry::PROTECT_PASSWORD &&
        link.get_protect_password_algo() == Entry::ENCRYPT_ALGO_MD5) {
      findings_.Add("md5_password", hash);
    }
    if (link.get_expire_at() == 0) findings_.Add("no_expiry", hash);
  }

  void CheckOwner(const Entry& link) {
    const unsigned int uid = link.get_owner_uid();
    if (owners_.count(uid) == 0) owners_[uid] = FindUser(uid, now_);
    const auto& [name, state] = owners_[uid];
    const std::string item = link.get_hash() + " of " + name;
    if (state == AccountState::kNotFound) {
      findings_.Add("owner_gone", item);
    } else if (state == AccountState::kUnknown) {
      findings_.Add("lookup_failed", link.get_hash() + ": owner " + name);
    } else if (state != AccountState::kFound &&
               StateOf(link, now_) == LinkState::kUsable) {
      const bool locked = state == AccountState::kLocked;
      findings_.Add("owner_disabled", item + (locked ? " (locked)" : " (expired)"),
                    "vexosharing edit --where-owner " + name + " --disable");
    }
  }

  void CheckAllowed(const std::string& item, const std::vector<Account>& accounts) {
    for (const auto& [name, state] : accounts) {
      if (state == AccountState::kNotFound) findings_.Add("unknown_name", item + name);
      if (state == AccountState::kUnknown) findings_.Add("lookup_failed", item + name);
    }
  }

  void CheckRows(const std::string& table, const std::string& damaged) {
    Result result;
    Read(table + "s", SelectRows(database_, "id", table, damaged, 0, 0, result));
    Row row;
    while (result.NextRow(row)) {
      findings_.Add("damaged_" + table, "id " + row.GetField("id").AsString(""));
    }
  }

  void CheckOrphans(const std::string& table, const std::string& owner) {
    long tokens = 0;
    if (!Read("tokens", CountRows(database_, "token", Orphaned(table), tokens))) return;
    if (tokens == 0) return;
    findings_.Add("token_without_" + owner, std::to_string(tokens) +
                                                (tokens == 1 ? " token" : " tokens") +
                                                " of deleted " + owner + "s");
  }

  SharingDB& database_;
  Findings& findings_;
  const long now_;
  std::vector<std::string> damage_;
  bool can_export_ = false;
  std::map<unsigned int, Account> owners_;  // each looked up once
};

/// The first fault that SQLite finds in the file, which programs may be writing.  Empty
/// if there is none, or it cannot be read now: it is locked for long, or the next writer
/// has to roll back a transaction first.
std::string IntegrityOf(const std::string& path) {
  Rows rows;
  const Connection connection(path, SQLITE_OPEN_READONLY);
  const int code = connection.Run("PRAGMA integrity_check(1)", &rows);
  if (code == SQLITE_BUSY || code == SQLITE_READONLY) return "";
  if (code == SQLITE_NOTADB) return "not a database";
  if (code != SQLITE_OK) return sqlite3_errstr(code);
  return rows == Rows{{"ok"}} ? "" : rows[0][0];
}

void CheckBlockList(Findings& findings) {
  const std::string path = std::string(kBlockFolder) + "/autoblock.db";
  std::error_code error;
  const std::string fault = fs::exists(path, error) ? IntegrityOf(path) : "";
  if (!fault.empty()) findings.Add("block_list", path + ": " + fault);
  for (const auto& file : fs::directory_iterator(kBlockFolder, error)) {
    const std::string name = file.path().filename();
    if (name.rfind("autoblock.db.damaged-", 0) == 0) {
      findings.Add("moved_block_list", file.path());
    }
  }
}

void CheckUrls(Findings& findings) {
  if (!fs::exists(kUrlTool)) return;  // the other subcommands say that URLs are unknown
  FILE* const tool = popen(kUrlCheck, "re");  // NOLINT(cert-env33-c): a fixed path
  if (tool == nullptr) return;
  std::string output;
  std::array<char, 512> part = {};
  while (fgets(part.data(), static_cast<int>(part.size()), tool) != nullptr) {
    output += part.data();
  }
  if (pclose(tool) == 0) return;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) findings.Add("url", line);
}

}  // namespace

void Findings::Add(const std::string& kind, const std::string& item,
                   const std::string& step) {
  size_t order = 0;
  while (kKinds[order].name != kind) ++order;
  const auto& [name, text, advice, is_remark] = kKinds[order];
  Finding& finding = (is_remark ? remarks : problems)[order];
  finding.kind = name;
  finding.text = text;
  const bool known = std::count(finding.advice.begin(), finding.advice.end(), step) != 0;
  if (!step.empty() && !known) finding.advice.push_back(step);
  if (finding.items.empty() && advice != nullptr) finding.advice.emplace_back(advice);
  finding.items.push_back(item);
}

void CheckFiles(const std::string& path, Findings& findings) {
  // Another database may be in any folder.
  if (path == SZF_SHARING_DB_PATH) {
    CheckMode(path.substr(0, path.rfind('/')), kFolderMode, findings);
  }
  for (const char* const suffix : kDatabaseFiles) {
    CheckMode(path + suffix, kFileMode, findings);
  }
}

Error CheckDatabase(SharingDB& database,
                    const std::function<bool(long done, long total)>& progress,
                    Findings& findings) {
  Checker checker(database, findings);
  checker.CheckPages();
  checker.CheckSchema();
  if (!checker.CheckLinks(progress)) return {kInterrupted, "interrupted"};
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
  if (!SelectPragma(database, "user_version", present)) return DatabaseError(database);
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
