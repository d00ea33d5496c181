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

/// The store of tokens.  Made on the stack for as long as it is needed, for the
/// thread that uses the database; operations answer
/// true on success, and the SQL error stands in BaseDB::GetLastError.
class SHARING_EXPORT TokenDB {
 public:
  /// `db`, usually SharingDB::Instance(), must outlive the store.
  explicit TokenDB(BaseDB& db);
  /// Checkpoints the write-ahead log.
  virtual ~TokenDB();

  bool Create(record::Token& token);
  /// Writes the whole row.
  bool Update(const record::Token& token);
  bool Delete(int id);
  bool Delete(const record::Token& token);

  bool GetById(int id, record::Token& token) const;
  /// Finds the session's token for the link.  False when there is none, with `token` as
  /// it was, or when it has expired, with `token` filled.
  bool GetBySessionEntry(const record::Session& session, const record::Entry& entry,
                         record::Token& token) const;

  /// Counts the tokens that match the condition, which stays.
  bool Count(int& count) const;
  /// The filter of the next Query or Count, owned by the store.
  Condition& GetCondition() const;
  /// Replaces `out` by the live tokens that match the condition, and clears the
  /// condition.
  bool Query(std::vector<record::Token>& out) const;

  /// In `probability` of the calls, deletes the tokens whose deadline has passed.  True
  /// when nothing was to be done.
  bool PurgeExpired(float probability);
  /// Deletes every token of the link, whatever session holds it.
  bool PurgeByEntry(const record::Entry& entry);

 private:
  std::unique_ptr<TokenDBPrivate> d_;
};

}  // namespace VEXO::sharing::db
