#include "admin/queries.h"

#include "admin/link_state.h"
#include "keys.h"

namespace admin {

namespace {

using VEXO::sharing::db::Row;

std::string Where(const std::string& condition) {
  return condition.empty() ? "" : " WHERE " + condition;
}

bool SelectNumber(BaseDB& database, const std::string& sql, long& number) {
  Result result;
  Row row;
  if (!database.Execute(sql, result) || !result.NextRow(row)) return false;
  number = row.GetField("n").AsTime(0);
  return true;
}

}  // namespace

std::string OfLink(const Entry& link) {
  return "entry_id = " + std::to_string(link.get_id());
}

std::string WithId(long id) { return "id = " + std::to_string(id); }

std::string Alive(long now) { return "timeout > " + std::to_string(now); }

std::string DamagedSession() {
  return "typeof(session_id) != 'text' OR session_id = '' OR typeof(uid) != 'integer' "
         "OR typeof(ip) != 'text' OR ip = '' OR typeof(timeout) != 'integer'";
}

std::string DamagedToken() {
  return "typeof(entry_id) != 'integer' OR typeof(session_id) != 'integer' "
         "OR typeof(timeout) != 'integer'";
}

bool CountRows(BaseDB& database, const std::string& table, const std::string& condition,
               long& count) {
  return SelectNumber(database, "SELECT COUNT(*) AS n FROM " + table + Where(condition),
                      count);
}

bool SelectRows(BaseDB& database, const std::string& columns, const std::string& table,
                const std::string& condition, long offset, long limit, Result& result) {
  std::string sql =
      "SELECT " + columns + " FROM " + table + Where(condition) + " ORDER BY id";
  if (limit != 0) {
    sql += " LIMIT " + std::to_string(limit) + " OFFSET " + std::to_string(offset);
  }
  return database.Execute(sql, result);
}

bool DeleteRows(BaseDB& database, const std::string& table, const std::string& condition,
                long& count) {
  return database.Execute("DELETE FROM " + table + Where(condition)) &&
         CountChanges(database, count);
}

bool SelectLinkByHash(BaseDB& database, const std::string& hash, Result& result) {
  return database.Execute(
      "SELECT * FROM entry WHERE hash = '" + database.Escape(hash) + "'", result);
}

bool SelectLinkIds(BaseDB& database, const std::string& condition,
                   const std::string& order, const std::string& limit, Result& result) {
  return database.Execute("SELECT id FROM entry" + Where(condition) + " ORDER BY " +
                              order + (limit.empty() ? "" : " LIMIT " + limit),
                          result);
}

bool SelectLinksByIds(BaseDB& database, const std::vector<int>& ids,
                      const std::string& order, Result& result) {
  std::string list;
  for (const int id : ids) list += (list.empty() ? "" : ",") + std::to_string(id);
  return database.Execute(
      "SELECT * FROM entry WHERE id IN (" + list + ") ORDER BY " + order, result);
}

bool CountLinksByState(BaseDB& database, long now, Result& result) {
  return database.Execute(
      "SELECT project_name, " + StateSql(now) +
          " AS state, COUNT(*) AS links, SUM(use_count) AS logins FROM entry "
          "GROUP BY project_name, state",
      result);
}

bool SetOwner(BaseDB& database, unsigned int from, unsigned int to, long& count) {
  return database.Execute("UPDATE entry SET owner_uid = " + std::to_string(to) +
                          " WHERE owner_uid = " + std::to_string(from)) &&
         CountChanges(database, count);
}

bool SelectValues(BaseDB& database, const std::map<std::string, std::string>& columns,
                  Result& result) {
  std::string sql = "SELECT 0 AS id";
  for (const auto& [name, value] : columns) {
    sql += ", '" + database.Escape(value) + "' AS " + name;
  }
  return database.Execute(sql, result);
}

bool CountChanges(BaseDB& database, long& count) {
  return SelectNumber(database, "SELECT changes() AS n", count);
}

bool CountOrphanTokens(BaseDB& database, const std::string& table, long& count) {
  return CountRows(database, "token",
                   "NOT EXISTS (SELECT 1 FROM " + table + " WHERE " + table +
                       ".id = token." + table + "_id)",
                   count);
}

bool SelectApplicationId(BaseDB& database, long& application_id) {
  return SelectNumber(database, "SELECT application_id AS n FROM pragma_application_id",
                      application_id);
}

bool SelectSchemaVersion(BaseDB& database, long& version) {
  return SelectNumber(database, "SELECT user_version AS n FROM pragma_user_version",
                      version);
}

bool SelectSchema(BaseDB& database, Result& result) {
  return database.Execute("SELECT type, name, sql FROM sqlite_master", result);
}

bool CheckIntegrity(BaseDB& database, Result& result) {
  return database.Execute("PRAGMA integrity_check", result);
}

bool AttachBackup(BaseDB& database, const std::string& path) {
  return database.Execute("ATTACH '" + database.Escape(path) + "' AS backup");
}

bool DetachBackup(BaseDB& database) { return database.Execute("DETACH backup"); }

bool ReplaceLinksByBackup(BaseDB& database) {
  const std::string columns =
      "id, hash, project_name, enabled, owner_uid, start_at, expire_at, expire_times, "
      "use_count, auto_gc, data";
  return database.Execute(
      "DELETE FROM main.token; DELETE FROM main.session; "
      "DELETE FROM main.entry; INSERT INTO main.entry (" +
      columns + ") SELECT " + columns + " FROM backup.entry");
}

Transaction::Transaction(BaseDB& database)
    : database_(database), open_(database.Execute("BEGIN IMMEDIATE")) {}

Transaction::~Transaction() {
  if (open_) database_.Execute("ROLLBACK");
}

bool Transaction::Commit() {
  // A failed one is rolled back on destruction: until then its reason can be read.
  open_ = !database_.Execute("COMMIT");
  return !open_;
}

}  // namespace admin
