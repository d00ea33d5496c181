#include "project.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "base_db.h"
#include "keys.h"
#include "result.h"

namespace url_tool {

namespace db = VEXO::sharing::db;
using VEXO::sharing::SZF_SHARING_DB_PATH;
using VEXO::sharing::SZK_PROJECT_NAME;

bool FindProject(const std::string& hash, std::string& project, std::string& reason) {
  struct stat status = {};
  if (stat(SZF_SHARING_DB_PATH, &status) == -1) {
    if (errno == ENOENT) return true;
    reason = strerror(errno);
    return false;
  }
  if (status.st_size == 0) return true;  // another process is creating the database
  // The base class: the database of links would migrate an older file, and a store
  // checkpoints the write-ahead log when it ends.
  db::BaseDB database(SZF_SHARING_DB_PATH, status.st_mode);
  db::Result result;
  if (!database.IsGood()) {
    reason = "cannot open the database; see the system log";
    return false;
  }
  if (!database.Execute(std::string("SELECT ") + SZK_PROJECT_NAME +
                            " FROM entry WHERE hash = '" + database.Escape(hash) + "'",
                        result)) {
    reason = database.GetLastError();
    return false;
  }
  db::Row row;
  if (result.NextRow(row)) project = row.GetField(SZK_PROJECT_NAME).AsString("");
  return true;
}

}  // namespace url_tool
