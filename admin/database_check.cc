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
#include "admin/link_filter.h"
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

/// Items and their own advice, by the name of the kind.
using Found = std::map<std::string, Finding>;

void Report(Found found, Findings& findings) {
  for (const Kind& kind : kKinds) {
    Finding& finding = found[kind.name];
    if (finding.items.empty()) continue;
    finding.kind = kind.name;
    finding.text = kind.text;
    if (kind.advice != nullptr) finding.advice.emplace_back(kind.advice);
    (kind.is_remark ? findings.remarks : findings.problems).push_back(finding);
  }
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
  const Connection connection(":memory:", SQLITE_OPEN_READWRITE);
  for (int version = 1; version <= kSchemaVersion; ++version) {
    connection.Run(SchemaFile(version));
  }
  Rows rows;
  connection.Run(kSelectSchema, &rows);
  Schema schema;
  for (const auto& row : rows) {
    if (!row[2].empty()) schema[{row[0], row[1]}] = row[2];
  }
  return schema;
}

/// Checks a database part by part.
class Checker {
 public:
  explicit Checker(SharingDB& database) : database_(database), now_(time(nullptr)) {}

  void CheckPages() {
    Result result;
    if (!Read("pages", database_.Execute(kCheckIntegrity, result))) return;
    Row row;
    while (result.NextRow(row)) {
      std::istringstream lines(row.GetField("integrity_check").AsString(""));
      for (std::string line; std::getline(lines, line);) {
        const bool heading = line == "ok" || line == "*** in database main ***";
        if (!heading) Add("integrity", line);
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
      return Add("schema_version", "version " + std::to_string(version));
    }
    Schema missing = ExpectedSchema();
    Row row;
    while (result.NextRow(row)) {
      const auto expected = missing.find(
          {row.GetField("type").AsString(""), row.GetField("name").AsString("")});
      if (expected == missing.end()) continue;
      const auto& [type, name] = expected->first;
      if (expected->second != row.GetField("sql").AsString("")) {
        Add("wrong_table", type + " " + name);
      }
      missing.erase(expected);
    }
    for (const auto& [object, sql] : missing) {
      Add("missing_schema", "missing " + object.first + " " + object.second);
    }
    if (application_id == 0) Add("missing_schema", "missing application id");
  }

  /// Calls `progress` for each link; false when that ended it.  `links` is their number.
  bool CheckLinks(const std::function<bool(long done, long total)>& progress,
                  long& links) {
    LinkReader reader(database_, "", "id");
    Entry link;
    while (reader.Next(link)) {
      CheckLink(link);
      if (!progress(reader.done(), reader.total())) return false;
    }
    links = reader.done();
    for (const auto& [id, hash] : reader.unreadable()) {
      Add("damaged_row", hash + " (id " + std::to_string(id) + ")");
    }
    if (Read("links", reader.good())) {
      found_["integrity"].advice = {"vexosharing export FILE to save the links"};
    }
    return true;
  }

  void CheckVisitors() {
    for (const auto& [table, damaged] :
         {std::pair("session", kDamagedSession), std::pair("token", kDamagedToken)}) {
      Result result;
      Read(std::string(table) + "s",
           SelectRows(database_, "id", table, damaged, 0, 0, result));
      Row row;
      while (result.NextRow(row)) {
        Add(std::string("damaged_") + table, "id " + row.GetField("id").AsString(""));
      }
    }
    CheckOrphans("entry", "link");
    CheckOrphans("session", "session");
  }

  const Found& found() const { return found_; }

 private:
  struct Owner {
    Lookup found = Lookup::kUnknown;
    std::string name;
    AccountState state = AccountState::kActive;
    bool reported = false;
  };

  void Add(const std::string& kind, const std::string& item) {
    found_[kind].items.push_back(item);
  }

  bool Read(const std::string& part, bool read) {
    std::vector<std::string>& damage = found_["integrity"].items;
    // Before the single pages, because the text output shows the first items only.
    if (!read) damage.insert(damage.begin(), part + ": " + database_.GetLastError());
    return read;
  }

  void CheckLink(const Entry& link) {
    const std::string hash = link.get_hash();
    CheckOwner(link);
    CheckAllowed(hash + " allows user ", AllowedUsers(link));
    CheckAllowed(hash + " allows group ", AllowedGroups(link));
    if (link.get_protect_type() == Entry::PROTECT_PASSWORD &&
        link.get_protect_password_algo() == Entry::ENCRYPT_ALGO_MD5) {
      Add("md5_password", hash);
    }
    if (link.get_expire_at() == 0) Add("no_expiry", hash);
  }

  void CheckOwner(const Entry& link) {
    const std::string hash = link.get_hash();
    const unsigned int uid = link.get_owner_uid();
    const auto [known, is_new] = owners_.try_emplace(uid);
    Owner& owner = known->second;
    if (is_new) {
      owner.found = FindUser(uid, owner.name);
      if (owner.found == Lookup::kFound) owner.state = StateOfAccount(owner.name, now_);
    }
    if (owner.found == Lookup::kNotFound) {
      Add("owner_gone", hash + " of " + std::to_string(uid));
    } else if (owner.found == Lookup::kUnknown) {
      Add("lookup_failed", hash + ": owner " + std::to_string(uid));
    } else if (owner.state != AccountState::kActive &&
               StateOf(link, now_) == LinkState::kUsable) {
      const bool locked = owner.state == AccountState::kLocked;
      Add("owner_disabled",
          hash + " of " + owner.name + (locked ? " (locked)" : " (expired)"));
      if (owner.reported) return;
      owner.reported = true;
      found_["owner_disabled"].advice.push_back("vexosharing edit --where-owner " +
                                                owner.name + " --disable");
    }
  }

  void CheckAllowed(const std::string& item,
                    const std::vector<AllowedAccount>& accounts) {
    for (const auto& [name, found] : accounts) {
      if (found == Lookup::kNotFound) Add("unknown_name", item + name);
      if (found == Lookup::kUnknown) Add("lookup_failed", item + name);
    }
  }

  void CheckOrphans(const std::string& table, const std::string& owner) {
    long tokens = 0;
    if (!Read("tokens", CountRows(database_, "token", Orphaned(table), tokens)) ||
        tokens == 0) {
      return;
    }
    Add("token_without_" + owner, std::to_string(tokens) +
                                      (tokens == 1 ? " token" : " tokens") +
                                      " of deleted " + owner + "s");
  }

  SharingDB& database_;
  const long now_;
  Found found_;
  std::map<unsigned int, Owner> owners_;  // each looked up once
};

/// Faults that SQLite finds in a database which is copied first: it belongs to another
/// program, and may be in use.
std::string IntegrityOfCopy(const std::string& path) {
  PrivateFolder folder;
  const std::string copy = folder.Copy(path);
  if (copy.empty()) return strerror(errno);
  Rows rows;
  const Connection connection(copy, SQLITE_OPEN_READWRITE);
  if (connection.Run("PRAGMA integrity_check(1)", &rows) != SQLITE_OK) {
    return "not a database";
  }
  return rows == Rows{{"ok"}} ? "" : rows.at(0).at(0);
}

void CheckBlockList(Found& found) {
  const std::string path = std::string(kBlockFolder) + "/autoblock.db";
  std::error_code error;
  const std::string fault = fs::exists(path, error) ? IntegrityOfCopy(path) : "";
  if (!fault.empty()) found["block_list"].items.push_back(path + ": " + fault);
  for (const auto& file : fs::directory_iterator(kBlockFolder, error)) {
    const std::string name = file.path().filename();
    if (name.rfind("autoblock.db.damaged-", 0) == 0) {
      found["moved_block_list"].items.push_back(file.path());
    }
  }
}

void CheckUrls(Found& found) {
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
  for (std::string line; std::getline(lines, line);) {
    found["url"].items.push_back(line);
  }
}

}  // namespace

void CheckFiles(const std::string& path, Findings& findings) {
  Found found;
  // Another database may be in any folder.
  if (path == SZF_SHARING_DB_PATH) {
    CheckMode(path.substr(0, path.rfind('/')), kFolderMode, found["file_mode"]);
  }
  for (const char* const suffix : kDatabaseFiles) {
    CheckMode(path + suffix, kFileMode, found["file_mode"]);
  }
  Report(found, findings);
}

Error CheckDatabase(SharingDB& database,
                    const std::function<bool(long done, long total)>& progress,
                    Findings& findings) {
  Checker checker(database);
  checker.CheckPages();
  checker.CheckSchema();
  if (!checker.CheckLinks(progress, findings.links)) {
    return {kInterrupted, "interrupted", ""};
  }
  checker.CheckVisitors();
  Report(checker.found(), findings);
  return {};
}

void CheckSystem(Findings& findings) {
  Found found;
  CheckBlockList(found);
  CheckUrls(found);
  Report(found, findings);
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
