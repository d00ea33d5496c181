#include "base_db.h"

#include <grp.h>
#include <pwd.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vexo/core.h>
#include <vexo/db.h>

#include <cstring>
#include <utility>

#include "db/run_as.h"
#include "internal/base_db_private.h"
#include "utils/log.h"
#include "utils/plain_text.h"

namespace VEXO::sharing::db {

namespace {

const char kSource[] = "base_db";

const char kRootName[] = "root";
const char kMove[] = "/bin/mv";
const char kMoveTarget[] = "/tmp/";

constexpr size_t kUsualSize = 1000;  // of a statement that stores a record

}  // namespace

BaseDBPrivate::BaseDBPrivate(std::string path, unsigned int mode)
    : path_(std::move(path)) {
  if (!CreateFile(mode) || !Connect()) {
    good_ = false;
    return;
  }
  if (connection_ == nullptr) {
    LogError("%s:%d (%u) db connect failed\n\n", kSource, 239, Pid());
    good_ = false;
    return;
  }
  good_ = Init();
  if (!good_) {
    LogError("%s:%d (%u) init failed\n\n", kSource, 242, Pid());
  }
}

BaseDBPrivate::~BaseDBPrivate() {
  if (connection_ != nullptr) {
    VEXODBClose(connection_);
  }
}

bool BaseDBPrivate::CreateFile(unsigned int mode) const {
  if (VLIBCFileExist(path_.c_str()) != 0) return true;
  const RunAs system(kSystemUid, kSystemGid, kSource, 220);
  if (!system) {
    LogError("%s:%d (%u) failed to run as system\n\n", kSource, 228, Pid());
    return false;
  }
  if (VLIBCFileExist(path_.c_str()) != 0) {
    return true;  // in a directory that the caller's account cannot read
  }
  if (VLIBCFileTouch(path_.c_str()) == -1) {
    LogError("%s:%d (%u) create database failed on %s\n\n", kSource, 222, Pid(),
             path_.c_str());
    return false;
  }
  if (VEXOFSAclChmod(path_.c_str(), -1, mode) == -1) {
    LogError("%s:%d (%u) change mode failed on %s\n\n", kSource, 225, Pid(),
             path_.c_str());
    return false;
  }
  return true;
}

bool BaseDBPrivate::Connect() {
  const RunAs system(kSystemUid, kSystemGid, kSource, 232);
  if (!system) {
    LogError("%s:%d (%u) failed to run as system\n\n", kSource, 235, Pid());
    return false;
  }
  connection_ = VEXODBConnect("", "", "", path_.c_str());
  return true;
}

bool BaseDBPrivate::Init() {
  return Execute(
      "PRAGMA cache_size = 5000;PRAGMA foreign_keys = ON;PRAGMA journal_mode = WAL;"
      "PRAGMA synchronous = NORMAL;",
      nullptr);
}

bool BaseDBPrivate::IsGood() const { return connection_ != nullptr && good_; }

void BaseDBPrivate::SetNotGood() { good_ = false; }

bool BaseDBPrivate::IsRoot() const {
  struct stat status = {};
  if (VLIBCFileStat(path_.c_str(), 1, &status) == -1) return false;
  const passwd* const user = getpwuid(status.st_uid);
  if (user == nullptr || strcmp(user->pw_name, kRootName) != 0) return false;
  const group* const owner_group = getgrgid(status.st_gid);
  return owner_group != nullptr && strcmp(owner_group->gr_name, kRootName) == 0;
}

bool BaseDBPrivate::MoveRootDB() const {
  const RunAs root(kRootUid, kRootGid, kSource, 282);
  if (!root) {
    LogError("%s:%d Permssion denied. uid=%u", kSource, 290, getuid());
    return false;
  }
  FILE* const mover = VLIBCPopen(kMove, "r", path_.c_str(), kMoveTarget,
                                 static_cast<const char*>(nullptr));
  if (mover == nullptr) {
    LogError("%s:%d VLIBCPopen failed, path=%s", kSource, 285, path_.c_str());
    return false;
  }
  return VLIBCPclose(mover) != 0;  // inverted on purpose: callers rely on it
}

bool BaseDBPrivate::Execute(const std::string& sql, Result* result) {
  DBResult_tag* handle = nullptr;
  const bool done = Run(sql, &handle);
  if (result != nullptr) {
    result->SetResult(handle);
  } else {
    VEXODBFreeResult(handle);
  }
  return done;
}

bool BaseDBPrivate::Run(const std::string& sql, DBResult_tag** handle) {
  if (!IsGood()) {
    LogError("%s:%d (%u) db is not good.\n\n", kSource, 339, Pid());
    return false;
  }
  last_query_ = sql;
  const RunAs system(kSystemUid, kSystemGid, kSource, 343);
  if (!system) {
    LogError("%s:%d (%u) failed to run as system\n\n", kSource, 351, Pid());
    return false;
  }
  if (VEXODBExecute(connection_, sql.c_str(), handle) == -1) {
    last_error_ = VEXODBErrorGet(connection_);  // for the caller; not logged here
    return false;
  }
  return true;
}  // `system` restores the caller's ids before the result is used

std::string BaseDBPrivate::GetLastError() const { return last_error_; }
std::string BaseDBPrivate::GetLastQuery() const { return last_query_; }

bool BaseDBPrivate::GetLastInsertId(int& id) const {
  if (!IsGood()) return false;
  id = static_cast<int>(sqlite3_last_insert_rowid(VEXODBSqliteHandle(connection_)));
  return true;
}

bool BaseDBPrivate::InTransaction() const {
  sqlite3* const handle = IsGood() ? VEXODBSqliteHandle(connection_) : nullptr;
  return handle != nullptr && sqlite3_get_autocommit(handle) == 0;
}

bool BaseDBPrivate::Begin() { return Execute("BEGIN TRANSACTION", nullptr); }

bool BaseDBPrivate::Commit() {
  if (Execute("COMMIT", nullptr)) return true;
  Execute("ROLLBACK", nullptr);
  return false;
}

std::string BaseDBPrivate::Escape(const std::string& text) const {
  std::string escaped;
  AppendEscaped(text, escaped);
  return escaped;
}

void BaseDBPrivate::AppendEscaped(const std::string& text, std::string& out) const {
  const size_t begin = out.size();
  // One byte more than the size passed, so that the text always ends with NUL.
  out.resize(begin + 2 * text.size() + 1);
  char* const escaped = out.data() + begin;
  size_t size = 0;
  if (VEXODBEscapeStringEX2(0, escaped, 2 * text.size(), text.c_str(), text.size()) ==
      -1) {
    LogError("%s:%d (%u) escape failed\n\n", kSource, 435, Pid());
  } else {
    size = strlen(escaped);
  }
  out.resize(begin + size);
}

bool BaseDBPrivate::ExecuteWALCheckPoint() {
  return Execute("PRAGMA wal_checkpoint;", nullptr);
}

bool BaseDBPrivate::Insert(const std::string& table,
                           const std::vector<std::string>& values) {
  std::string sql;
  sql.reserve(kUsualSize);
  sql.append("INSERT INTO ").append(table).append(" VALUES (NULL,");
  const char* separator = "'";
  for (const std::string& value : values) {
    sql += separator;
    AppendEscaped(value, sql);
    sql += '\'';
    separator = ",'";
  }
  sql += ')';
  return Execute(sql, nullptr);
}

bool BaseDBPrivate::Update(const std::string& table,
                           const std::map<std::string, std::string>& columns, int id) {
  std::string sql;
  sql.reserve(kUsualSize);
  sql.append("UPDATE ").append(table).append(" SET ");
  const char* separator = "";
  for (const auto& [column, value] : columns) {
    if (column == SZK_ID_) {
      continue;  // a row never changes its id
    }
    sql += separator;
    AppendEscaped(column, sql);
    sql += "='";
    AppendEscaped(value, sql);
    sql += '\'';
    separator = ",";
  }
  sql.append(" WHERE id=").append(std::to_string(id));
  return Execute(sql, nullptr);
}

bool BaseDBPrivate::Delete(const std::string& table, int id) {
  PlainText sql;
  sql << "DELETE FROM " << table << " WHERE id=" << id;
  return Execute(sql.str(), nullptr);
}

BaseDB::BaseDB(const std::string& path, unsigned int mode)
    : d_(std::make_unique<BaseDBPrivate>(path, mode)) {}
BaseDB::~BaseDB() = default;

bool BaseDB::IsGood() const { return d_->IsGood(); }
bool BaseDB::IsRoot() const { return d_->IsRoot(); }
bool BaseDB::MoveRootDB() const { return d_->MoveRootDB(); }
bool BaseDB::Execute(const std::string& sql, Result* result) {
  return d_->Execute(sql, result);
}
bool BaseDB::Execute(const std::string& sql, Result& result) {
  return d_->Execute(sql, &result);
}
std::string BaseDB::GetLastError() const { return d_->GetLastError(); }
std::string BaseDB::GetLastQuery() const { return d_->GetLastQuery(); }
bool BaseDB::GetLastInsertId(int& id) const { return d_->GetLastInsertId(id); }
bool BaseDB::Begin() { return d_->Begin(); }
bool BaseDB::Commit() { return d_->Commit(); }
std::string BaseDB::Escape(const std::string& text) const { return d_->Escape(text); }
bool BaseDB::ExecuteWALCheckPoint() { return d_->ExecuteWALCheckPoint(); }
bool BaseDB::Vacuum() { return Execute("VACUUM"); }
bool BaseDB::Insert(const std::string& table, const std::vector<std::string>& values) {
  return d_->Insert(table, values);
}
bool BaseDB::Update(const std::string& table,
                    const std::map<std::string, std::string>& columns, int id) {
  return d_->Update(table, columns, id);
}
bool BaseDB::Delete(const std::string& table, int id) { return d_->Delete(table, id); }

}  // namespace VEXO::sharing::db
