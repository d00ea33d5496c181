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

/// The store of links.  Made on the stack for as long as it is needed, for the
/// thread that uses the database; operations answer
/// true on success, and the SQL error stands in BaseDB::GetLastError.
class SHARING_EXPORT EntryDB {
 public:
  /// `db`, usually SharingDB::Instance(), must outlive the store.
  explicit EntryDB(BaseDB& db);
  /// Checkpoints the write-ahead log.
  virtual ~EntryDB();

  /// Inserts the link under the hash it holds and gives it its row id.
  bool Create(record::Entry& entry);
  /// Inserts the link under a fresh random hash.  A failed insert, as for a hash already
  /// taken, is tried again with a new and gradually longer one; the last hash tried
  /// stays.
  bool CreateWithHash(record::Entry& entry);
  /// Writes the whole row.
  bool Update(const record::Entry& entry);
  /// Deletes a link; its tokens go with it.
  bool Delete(int id);
  bool Delete(const record::Entry& entry);

  bool GetById(int id, record::Entry& entry) const;
  /// Finds the link with this hash.  False when there is none, with `entry` as it was, or
  /// when it is not legal, with `entry` filled.
  bool GetByHash(const std::string& hash, record::Entry& entry) const;
  /// The link that the token opens.
  bool GetByToken(const record::Token& token, record::Entry& entry) const;

  /// Counts the links that match the condition, which stays.
  bool Count(int& count) const;
  /// The filter of the next Query or Count, owned by the store.
  Condition& GetCondition() const;
  /// Replaces `out` by the links that match the condition, and clears the condition. Rows
  /// that are not legal are left out.
  bool Query(std::vector<record::Entry>& out) const;

  /// In `probability` of the calls, deletes the links that are past their expiry or used
  /// up and allow it (`auto_gc`).  True when nothing was to be done.
  bool PurgeExpired(float probability);
  /// Deletes every link of the owner.
  bool DeleteByOwnerUid(unsigned int uid);
  /// Deletes links that are past their expiry or used up, whether or not they allow it,
  /// of one owner (UID_ERR: of every owner) and one project (empty: of every project).
  bool PurgeExpiredByOwnerProject(unsigned int uid, const std::string& project);

 private:
  std::unique_ptr<EntryDBPrivate> d_;
};

}  // namespace VEXO::sharing::db
