#pragma once

#include <string>

#include "answer.h"
#include "condition.h"
#include "parameters.h"
#include "sharing_db.h"

namespace webapi {

/// The system's database, for a call whose parameters are right.  Null, with the failure,
/// when they are not, and when there is no database or it cannot be used.
VEXO::sharing::db::SharingDB* OpenDatabase(const Parameters& parameters,
                                           Failure& failure);
/// The same, but a missing database is made.
VEXO::sharing::db::SharingDB* OpenOrMakeDatabase(const Parameters& parameters,
                                                 Failure& failure);

/// The failure for a statement that the database refused.
Failure StatementFailure(const VEXO::sharing::db::BaseDB& database);

/// Runs `sql` and reads one number from the column "n" of its first row.
bool ReadNumber(VEXO::sharing::db::BaseDB& database, const std::string& sql, long& out);

/// Runs statements of which the last changes rows, and tells how many it changed.
bool CountChanges(VEXO::sharing::db::BaseDB& database, const std::string& sql, long& out);

/// The answer of a purge that has just run: how many rows went.
Answer PurgeAnswer(VEXO::sharing::db::BaseDB& database);

/// A write transaction: it holds the lock from its start, so that what is read in it is
/// still true when it is written.  Rolled back unless it was committed.
class Transaction {
 public:
  explicit Transaction(VEXO::sharing::db::BaseDB& database);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  explicit operator bool() const { return open_; }
  bool Commit();

 private:
  VEXO::sharing::db::BaseDB& database_;
  bool open_;
};

}  // namespace webapi
