#include "admin/queries.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "src/c/link_state.h"

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

LinkState StateOf(const Entry& link, long now) {
  return static_cast<LinkState>(StateOfLink(link, now));
}

const char* StateName(LinkState state) {
  const char* const names[] = {"usable", "not_started", "expired", "used_up", "disabled"};
  return names[static_cast<int>(state)];
}

std::string StateSql(long now) {
  const auto when = [](const std::string& condition, LinkState state) {
    return " WHEN " + condition + " THEN '" + StateName(state) + "'";
  };
  const std::string moment = std::to_string(now);
  return "CASE" + when("enabled != 1", LinkState::kDisabled) +
         when("start_at > " + moment, LinkState::kNotStarted) +
         when("expire_at > 0 AND expire_at < " + moment, LinkState::kExpired) +
         when("expire_times > 0 AND use_count >= expire_times", LinkState::kUsedUp) +
         " ELSE '" + StateName(LinkState::kUsable) + "' END";
}

std::string LinkFilter::Sql(const BaseDB& database, long now) const {
  std::string sql;
  const auto add = [&sql](const std::string& term) {
    sql += (sql.empty() ? "" : " AND ") + term;
  };
  if (!hash.empty()) add("hash = '" + database.Escape(hash) + "'");
  if (!project.empty()) add("project_name = '" + database.Escape(project) + "'");
  if (owner) add("owner_uid = " + std::to_string(*owner));
  if (!state.empty()) add(StateSql(now) + " = '" + database.Escape(state) + "'");
  if (!search.empty()) {
    // instr() knows no wildcards.  An unreadable row has no JSON to search.
    const std::string text = "lower('" + database.Escape(search) + "')) > 0";
    const auto holds = [&text](const char* path) {
      return std::string("instr(lower(json_extract(data, '") + path + "')), " + text;
    };
    add("CASE WHEN json_valid(data) THEN " + holds("$.protect_title") + " OR " +
        holds("$.app.path") + " OR " + holds("$.app.note") + " OR " +
        holds("$.private_data.note") + " ELSE 0 END");
  }
  return sql;
}

std::string Orphaned(const std::string& table) {
  return "NOT EXISTS (SELECT 1 FROM " + table + " WHERE " + table + ".id = token." +
         table + "_id)";
}

Error DatabaseError(const BaseDB& database) {
  const std::string reason = database.GetLastError();
  if (reason == "interrupted") {
    return {kInterrupted, "interrupted while waiting for the database lock"};
  }
  const std::pair<const char*, const char*> hints[] = {
      {"locked", "another program is using it, try again later"},
      {"malformed", "run vexosharing check"},
      {"not a database", "restore a backup with vexosharing restore"},
      {"full", "free some disk space"},
      {"disk I/O", "the disk is full or failing"}};
  for (const auto& [words, hint] : hints) {
    if (reason.find(words) != std::string::npos) {
      return {kDatabaseNotUsable, "database error: " + reason, hint};
    }
  }
  return {kDatabaseNotUsable, "database error" + (reason.empty() ? "" : ": " + reason),
          reason.empty() ? "see the system log" : ""};
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
  // All ids in one text: a row for each takes several times as long.  SQLite keeps the
  // order of the subquery for this function.
  Result result;
  Row row;
  good_ = database.Execute("SELECT group_concat(id) AS ids FROM (SELECT id FROM entry" +
                               Where(condition) + " ORDER BY " + order +
                               (limit.empty() ? "" : " LIMIT " + limit) + ")",
                           result) &&
          result.NextRow(row);
  if (!good_) return;
  const std::string list = row.GetField("ids").AsString("");
  const char* const end = list.data() + list.size();
  for (const char* at = list.data(); at < end; ++at) {
    at = std::from_chars(at, end, ids_.emplace_back()).ptr;
  }
}

bool LinkReader::Next(Entry& link) {
  while (good_) {
    Row row;
    if (batch_ == nullptr || !batch_->NextRow(row)) {
      if (fetched_ == ids_.size()) return false;
      std::string list;
      for (const size_t end = std::min(fetched_ + kBatch, ids_.size()); fetched_ < end;) {
        list += (list.empty() ? "" : ",") + std::to_string(ids_[fetched_++]);
      }
      batch_ = std::make_unique<Result>();  // a result takes a handle once
      good_ = database_.Execute(
          "SELECT * FROM entry WHERE id IN (" + list + ") ORDER BY " + order_, *batch_);
      continue;
    }
    ++done_;
    if (link.FromRow(row)) return true;
    unreadable_.push_back(
        {row.GetField("id").AsInt(0), row.GetField("hash").AsString("")});
  }
  return false;
}

}  // namespace admin
