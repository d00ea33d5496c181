#pragma once

#include "entry.h"
#include "object_db.h"
#include "session.h"
#include "token.h"

namespace VEXO::sharing::db {

/// The implementation of TokenDB.
class TokenDBPrivate : public ObjectDB {
 public:
  explicit TokenDBPrivate(BaseDB& db);

  using ObjectDB::Delete;
  bool Delete(int id) override;  // the same; part of the binary interface
  bool PurgeExpired(float probability);

  bool GetBySessionEntry(const record::Session& session, const record::Entry& entry,
                         record::Token& token) const;
  bool PurgeByEntry(const record::Entry& entry);
};

}  // namespace VEXO::sharing::db
