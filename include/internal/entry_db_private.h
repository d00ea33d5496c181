#pragma once

#include <string>

#include "entry.h"
#include "object_db.h"

namespace VEXO::sharing::db {

/// The implementation of EntryDB.
class EntryDBPrivate : public ObjectDB {
 public:
  explicit EntryDBPrivate(BaseDB& db);

  using ObjectDB::Delete;
  bool Delete(int id) override;  // the same; part of the binary interface

  bool CreateWithHash(record::Entry& entry);
  bool GetByHash(const std::string& hash, record::Entry& entry) const;
  bool PurgeExpired(float probability);
  bool DeleteByOwnerUid(unsigned int uid);
  bool PurgeExpiredByOwnerProject(unsigned int uid, const std::string& project);
};

}  // namespace VEXO::sharing::db
