#pragma once

#include <string>

#include "object_db.h"
#include "session.h"

namespace VEXO::sharing::db {

/// The implementation of SessionDB.
class SessionDBPrivate : public ObjectDB {
 public:
  explicit SessionDBPrivate(BaseDB& db);

  using ObjectDB::Delete;
  bool Delete(int id) override;  // the same; part of the binary interface
  bool PurgeExpired(float probability);

  bool CreateWithSessionId(record::Session& session);
  bool DeleteBySessionId(const std::string& session_id);
  bool GetBySessionId(const std::string& session_id, record::Session& session) const;
};

}  // namespace VEXO::sharing::db
