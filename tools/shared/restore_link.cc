#include "restore_link.h"

#include <algorithm>
#include <climits>
#include <map>
#include <string>

#include "entry_db.h"
#include "keys.h"
#include "statements.h"

namespace tools {

namespace {

using VEXO::sharing::record::Entry;

std::map<std::string, std::string> Settings(const Entry& link) {
  std::map<std::string, std::string> columns = link.GetFieldMap();
  columns.erase(VEXO::sharing::SZK_USE_COUNT);
  return columns;
}

}  // namespace

bool RestoreLink(VEXO::sharing::db::BaseDB& database, const Entry& before,
                 const Entry& after) {
  VEXO::sharing::db::EntryDB links(database);  // ends after the transaction: it writes
  Transaction change(database);
  Entry link;
  if (!change.good() || !links.GetById(after.get_id(), link) ||
      Settings(link) != Settings(after)) {
    return false;
  }
  const long uses =
      long{before.get_use_count()} + link.get_use_count() - after.get_use_count();
  link = before;
  link.set_use_count(static_cast<int>(std::min<long>(uses, INT_MAX)));
  return links.Update(link) && change.Commit();
}

}  // namespace tools
