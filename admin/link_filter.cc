#include "admin/link_filter.h"

#include "src/c/link_state.h"

namespace admin {

LinkState StateOf(const VEXO::sharing::record::Entry& link, long now) {
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

std::string LinkFilter::Sql(const VEXO::sharing::db::BaseDB& database, long now) const {
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

}  // namespace admin
