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

/// The store of visitors' sessions.
///
/// A store is created for as long as it is needed, and must not be used by two threads at
/// once.  Operations return true on success; BaseDB::GetLastError has the reason of a
/// failed statement.
class SHARING_EXPORT SessionDB {
 public:
  /// @param db  the database, usually SharingDB::Instance(); must outlive the store
  explicit SessionDB(BaseDB& db);
  /// Runs a checkpoint of the write-ahead log.
  virtual ~SessionDB();

  /// Inserts a legal session under its session id and sets its row id.  False, logged,
  /// when it is not legal or the session id is already in use.
  bool Create(record::Session& session);
  /// Inserts a legal session under a new random session id and sets its row id.  A failed
  /// insert is tried again with another id.  After the last attempt the session keeps the
  /// last id.
  bool CreateWithSessionId(record::Session& session);
  /// Writes all columns of a legal session.  False, logged, when it is not legal.
  bool Update(const record::Session& session);
  /// Deletes the session with this row id, and its tokens.  True also when there is none.
  bool Delete(int id);
  /// As above.
  bool Delete(const record::Session& session);
  /// Deletes the session with this session id, and its tokens.  True also when there is
  /// none.
  bool DeleteBySessionId(const std::string& session_id);

  /// Reads a session by row id.
  ///
  /// @param id            row id
  /// @param[out] session  the session; unchanged when there is none
  /// @return false when there is none, or when it is not legal
  bool GetById(int id, record::Session& session) const;
  /// Reads a session by session id.
  ///
  /// @param session_id    the random id that the visitor carries
  /// @param[out] session  the session; unchanged when there is none
  /// @return false when there is none, or when it has expired.  With a new Session, the
  ///         row id is not 0 for an expired session.
  bool GetBySessionId(const std::string& session_id, record::Session& session) const;

  /// Counts the sessions that match the condition.  The condition is kept.
  bool Count(int& count) const;
  /// The condition of the next Query or Count; the store owns it.
  Condition& GetCondition() const;
  /// Reads the sessions that match the condition, and clears the condition, also on
  /// failure.
  ///
  /// @param[out] out  the sessions that have not expired; unchanged on failure
  bool Query(std::vector<record::Session>& out) const;

  /// Deletes the sessions that have expired, and their tokens.
  ///
  /// @param probability  how often a call does so: 1 always, 0 never, 0.05 once in twenty
  ///                     calls; whole hundredths count
  /// @return true also when the call did nothing
  bool PurgeExpired(float probability);

 private:
  std::unique_ptr<SessionDBPrivate> d_;
};

}  // namespace VEXO::sharing::db
