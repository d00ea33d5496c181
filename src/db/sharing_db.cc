#include "sharing_db.h"

#include <fstream>
#include <sstream>

#include "db/run_as.h"
#include "internal/base_db_private.h"
#include "internal/sharing_db_private.h"
#include "result.h"
#include "utils/log.h"
#include "utils/plain_text.h"

namespace VEXO::sharing::db {

namespace {

const char kSource[] = "sharing_db";

const char kSchemaDirectory[] = "/usr/vexo/share/vexosharing/db_schema";
constexpr int kSchemaVersion = 2;

constexpr unsigned int kFileMode = 0660;

}  // namespace

SharingDBPrivate::SharingDBPrivate(SharingDB* owner)
    : owner_(owner), migrated_(Migration()) {}

bool SharingDBPrivate::Migration() {
  Result result;
  SHARING_REFUSE_IF(49, !owner_->Execute("PRAGMA user_version", result),
                    "!pdb_->Execute(\"PRAGMA user_version\", result)");
  Row row;
  if (!result.NextRow(row)) {
    LogError("%s:%d (%u) user_version is not correct\n\n", kSource, 52, Pid());
    return false;
  }
  if (!row.IsGood()) return false;
  const int version = row.GetField("user_version").AsInt(0);
  if (version >= kSchemaVersion) {
    return true;  // a newer schema is used as it is
  }
  for (int target = version + 1; target <= kSchemaVersion; ++target) {
    if (!MigrateTo(target)) {
      LogError("%s:%d (%u) cannot migrate from %d to %d\n\n", kSource, 64, Pid(),
               target - 1, target);
      return false;
    }
  }
  return true;
}

bool SharingDBPrivate::MigrateTo(int version) {
  PlainText path;
  path << kSchemaDirectory << "/" << version << ".sql";
  std::ifstream file;
  {
    const RunAs system(kSystemUid, kSystemGid, kSource, 82);
    if (!system) {
      LogError("%s:%d (%u) failed to run as system\n\n", kSource, 85, Pid());
      return false;
    }
    file.open(path.str());
  }
  if (!file.is_open()) {
    LogError("%s:%d (%u) file %s open failed %m.\n\n", kSource, 89, Pid(),
             path.str().c_str());
    return false;
  }
  std::ostringstream sql;
  sql << file.rdbuf();
  SHARING_REFUSE_IF(93, !owner_->Execute(sql.str()),
                    "!pdb_->Execute(sstr.str().c_str())");
  return true;
}

SharingDB& SharingDB::Instance() {
  static SharingDB instance;
  return instance;
}

SharingDB::SharingDB() : SharingDB(SZF_SHARING_DB_PATH) {}

SharingDB::SharingDB(const std::string& path)
    : BaseDB(path, kFileMode), d_(std::make_unique<SharingDBPrivate>(this)) {
  if (!d_->migrated()) {
    BaseDB::d_->SetNotGood();
  }
}

SharingDB::~SharingDB() = default;

bool SharingDB::IsGood() const { return d_->migrated() && BaseDB::IsGood(); }

}  // namespace VEXO::sharing::db
