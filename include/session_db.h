#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base_db.h"
#include "condition.h"
#include "keys.h"
#include "session.h"

namespace VEXO::sharing::db {

class SessionDBPrivate;

/// The store of visitors' sessions.  Made on the stack for as long as it is needed, for
/// the thread that uses the database; operations answer true on success, and the SQL
/// error stands in BaseDB::GetLastError.
class SHARING_EXPORT SessionDB {
 public:
  /// `db`, usually SharingDB::Instance(), must outlive the store.
  explicit SessionDB(BaseDB& db);
  /// Checkpoints the write-ahead log.
  virtual ~SessionDB();

  /// Inserts the session under the id it holds and gives it its row id.
  bool Create(record::Session& session);
  /// Inserts the session under a fresh random id.  A failed insert is tried again with a
  /// new one; the last id tried stays.
  bool CreateWithSessionId(record::Session& session);
  /// Writes the whole row.
  bool Update(const record::Session& session);
  /// Deletes a session by row id; its tokens go with it.
  bool Delete(int id);
  bool Delete(const record::Session& session);
  /// Deletes by the visitor's id; true also when there is none.
  bool DeleteBySessionId(const std::string& session_id);

  bool GetById(int id, record::Session& session) const;
  /// Finds the session by the visitor's id.  False when there is none, with `session` as
  /// it was, or when it has expired, with `session` filled.
  bool GetBySessionId(const std::string& session_id, record::Session& session) const;

  /// Counts the sessions that match the condition, which stays.
  bool Count(int& count) const;
  /// The filter of the next Query or Count, owned by the store.
  Condition& GetCondition() const;
  /// Replaces `out` by the live sessions that match the condition, and clears the
  /// condition.
  bool Query(std::vector<record::Session>& out) const;

  /// In `probability` of the calls, deletes the sessions whose deadline has passed.  True
  /// when nothing was to be done.
  bool PurgeExpired(float probability);

 private:
  std::unique_ptr<SessionDBPrivate> d_;
};

}  // namespace VEXO::sharing::db
