#include "database.h"

#include <sys/stat.h>

#include <cerrno>

#include "statements.h"

namespace webapi {

using VEXO::sharing::db::BaseDB;
using VEXO::sharing::db::SharingDB;

SharingDB* OpenDatabase(const Parameters& parameters, Failure& failure) {
  const std::string path = VEXO::sharing::SZF_SHARING_DB_PATH;
  struct stat status = {};
  const bool missing = stat(path.c_str(), &status) == -1
                           ? errno == ENOENT
                           : S_ISREG(status.st_mode) && status.st_size == 0;
  if (!parameters.failure() && missing) {
    failure = {kNoDatabase, "there is no database at " + path +
                                ": create makes it with the first link"};
    return nullptr;
  }
  return OpenOrMakeDatabase(parameters, failure);
}

SharingDB* OpenOrMakeDatabase(const Parameters& parameters, Failure& failure) {
  failure = parameters.failure();
  if (failure) return nullptr;
  SharingDB& database = SharingDB::Instance();
  if (!database.IsGood()) {
    failure = {kDatabaseNotUsable, std::string("the database ") +
                                       VEXO::sharing::SZF_SHARING_DB_PATH +
                                       " cannot be used: the system log says why"};
    return nullptr;
  }
  return &database;
}

Failure StatementFailure(const BaseDB& database) {
  const std::string error = database.GetLastError();
  return {kDatabaseNotUsable,
          "the database refused: " + (error.empty() ? "the system log says why" : error)};
}

bool DeleteRows(BaseDB& database, const std::string& sql, long& count) {
  return database.Execute(sql) && tools::CountChanges(database, count);
}

Answer PurgeAnswer(BaseDB& database) {
  long purged = 0;
  if (!tools::CountChanges(database, purged)) return StatementFailure(database);
  Json::Value data;
  data["purged"] = Json::Int64{purged};
  return data;
}

}  // namespace webapi
