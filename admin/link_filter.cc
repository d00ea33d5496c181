#include "admin/link_filter.h"

namespace admin {

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
