#include "admin/queries.h"

#include <algorithm>

#include "admin/link_filter.h"
#include "keys.h"

namespace admin {

namespace {

using VEXO::sharing::db::Row;

constexpr size_t kBatch = 500;  // links in memory

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

std::string Orphaned(const std::string& table) {
  return "NOT EXISTS (SELECT 1 FROM " + table + " WHERE " + table + ".id = token." +
         table + "_id)";
}

std::string WithId(long id) { return "id = " + std::to_string(id); }

std::string Alive(long now) { return "timeout > " + std::to_string(now); }

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

bool SelectPragma(BaseDB& database, const std::string& name, long& value) {
  return SelectNumber(database, "SELECT " + name + " AS n FROM pragma_" + name, value);
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

LinkReader::LinkReader(BaseDB& database, const std::string& condition,
                       const std::string& order, const std::string& limit)
    : database_(database), order_(order) {
  Result result;
  good_ = database.Execute("SELECT id FROM entry" + Where(condition) + " ORDER BY " +
                               order + (limit.empty() ? "" : " LIMIT " + limit),
                           result);
  Row row;
  while (result.NextRow(row)) ids_.push_back(row.GetField("id").AsInt(0));
}

bool LinkReader::Next(Entry& link) {
  while (good_) {
    Row row;
    if (batch_ == nullptr || !batch_->NextRow(row)) {
      if (!FetchBatch()) return false;
      continue;
    }
    ++done_;
    if (link.FromRow(row)) return true;
    unreadable_.push_back(
        {row.GetField("id").AsInt(0), row.GetField("hash").AsString("")});
  }
  return false;
}

bool LinkReader::FetchBatch() {
  if (fetched_ == ids_.size()) return false;
  const size_t end = std::min(fetched_ + kBatch, ids_.size());
  std::string list;
  for (; fetched_ < end; ++fetched_) {
    list += (list.empty() ? "" : ",") + std::to_string(ids_[fetched_]);
  }
  batch_ = std::make_unique<Result>();  // a result takes a handle once
  good_ = database_.Execute(
      "SELECT * FROM entry WHERE id IN (" + list + ") ORDER BY " + order_, *batch_);
  return good_;
}

}  // namespace admin
