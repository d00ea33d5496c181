#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base_db.h"
#include "condition.h"
#include "entry.h"
#include "keys.h"
#include "token.h"

namespace VEXO::sharing::db {

class EntryDBPrivate;

/// The store of links.
///
/// A store is created for as long as it is needed, and must not be used by two threads at
/// once.  Operations return true on success; BaseDB::GetLastError has the reason of a
/// failed statement.
class SHARING_EXPORT EntryDB {
 public:
  /// @param db  the database, usually SharingDB::Instance(); must outlive the store
  explicit EntryDB(BaseDB& db);
  /// Runs a checkpoint of the write-ahead log.
  virtual ~EntryDB();

  /// Inserts a legal link under its hash and sets its row id.  False, logged, when it is
  /// not legal or the hash is already in use.
  bool Create(record::Entry& entry);
  /// Inserts a legal link under a new random hash and sets its row id.  A failed insert,
  /// for example because the hash is already in use, is tried again with another hash,
  /// which is longer after every third attempt.  After the last attempt the link keeps
  /// the last hash.
  bool CreateWithHash(record::Entry& entry);
  /// Writes all columns of a legal link.  False, logged, when it is not legal.
  bool Update(const record::Entry& entry);
  /// Deletes the link with this row id, and its tokens.  True also when there is none.
  bool Delete(int id);
  /// As above.
  bool Delete(const record::Entry& entry);

  /// Reads a link by row id.
  ///
  /// @param id          row id
  /// @param[out] entry  the link; unchanged when there is none
  /// @return false when there is none, or when it is not legal
  bool GetById(int id, record::Entry& entry) const;
  /// Reads a link by hash.
  ///
  /// @param hash        hash of the link
  /// @param[out] entry  the link; unchanged when there is none
  /// @return false when there is none, when it is not legal, or when the statement
  ///         failed.  With a new Entry, the row id is not 0 when there is a link that is
  ///         not legal.  To distinguish an absent link from a failure, call Count with
  ///         the condition that SZK_HASH is the hash: it succeeds with 0 for an absent
  ///         link.
  bool GetByHash(const std::string& hash, record::Entry& entry) const;
  /// Reads the link of a token, as GetById does.
  bool GetByToken(const record::Token& token, record::Entry& entry) const;

  /// Counts the links that match the condition.  The condition is kept.
  bool Count(int& count) const;
  /// The condition of the next Query or Count; the store owns it.
  Condition& GetCondition() const;
  /// Reads the links that match the condition, and clears the condition, also on failure.
  ///
  /// @param[out] out  the legal links; unchanged on failure.  Unreadable rows are left
  ///                  out.
  bool Query(std::vector<record::Entry>& out) const;

  /// Deletes the links that have expired or reached their use limit, if they allow it
  /// (`auto_gc`).
  ///
  /// @param probability  how often a call does so: 1 always, 0 never, 0.05 once in twenty
  ///                     calls; whole hundredths count
  /// @return true also when the call did nothing
  bool PurgeExpired(float probability);
  /// Deletes all links of an owner.
  bool DeleteByOwnerUid(unsigned int uid);
  /// Deletes the links of an owner and a project that have expired or reached their use
  /// limit, also those that do not allow the general purge.
  ///
  /// @param uid      user id of the owner; UID_ERR for all owners
  /// @param project  name of the project; empty for all projects
  bool PurgeExpiredByOwnerProject(unsigned int uid, const std::string& project);

 private:
  std::unique_ptr<EntryDBPrivate> d_;
};

}  // namespace VEXO::sharing::db
