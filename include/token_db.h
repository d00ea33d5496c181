#pragma once

#include <memory>
#include <vector>

#include "base_db.h"
#include "condition.h"
#include "entry.h"
#include "keys.h"
#include "session.h"
#include "token.h"

namespace VEXO::sharing::db {

class TokenDBPrivate;

/// The store of tokens.
///
/// A store is created for as long as it is needed, and must not be used by two threads at
/// once.  Operations return true on success; BaseDB::GetLastError has the reason of a
/// failed statement.
class SHARING_EXPORT TokenDB {
 public:
  /// @param db  the database, usually SharingDB::Instance(); must outlive the store
  explicit TokenDB(BaseDB& db);
  /// Runs a checkpoint of the write-ahead log.
  virtual ~TokenDB();

  /// Inserts a legal token and sets its row id.  False, logged, when it is not legal.
  bool Create(record::Token& token);
  /// Writes all columns of a legal token.  False, logged, when it is not legal.
  bool Update(const record::Token& token);
  /// Deletes the token with this row id.  True also when there is none.
  bool Delete(int id);
  /// As above.
  bool Delete(const record::Token& token);

  /// Reads a token by row id.
  ///
  /// @param id          row id
  /// @param[out] token  the token; unchanged when there is none
  /// @return false when there is none, or when it is not legal
  bool GetById(int id, record::Token& token) const;
  /// Reads the token of a session for a link.
  ///
  /// @param session     the session, by its row id
  /// @param entry       the link, by its row id
  /// @param[out] token  the token; unchanged when there is none
  /// @return false when there is none, or when it has expired.  With a new Token, the row
  ///         id is not 0 for an expired token.
  bool GetBySessionEntry(const record::Session& session, const record::Entry& entry,
                         record::Token& token) const;

  /// Counts the tokens that match the condition.  The condition is kept.
  bool Count(int& count) const;
  /// The condition of the next Query or Count; the store owns it.
  Condition& GetCondition() const;
  /// Reads the tokens that match the condition, and clears the condition, also on
  /// failure.
  ///
  /// @param[out] out  the tokens that have not expired; unchanged on failure
  bool Query(std::vector<record::Token>& out) const;

  /// Deletes the tokens that have expired.
  ///
  /// @param probability  how often a call does so: 1 always, 0 never, 0.05 once in twenty
  ///                     calls; whole hundredths count
  /// @return true also when the call did nothing
  bool PurgeExpired(float probability);
  /// Deletes all tokens of a link, so that all its visitors must log in again.
  bool PurgeByEntry(const record::Entry& entry);

 private:
  std::unique_ptr<TokenDBPrivate> d_;
};

}  // namespace VEXO::sharing::db
