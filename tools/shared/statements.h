#pragma once

#include <string>

#include "base_db.h"

namespace tools {

/// First column of the first row, named n, of a SELECT.
bool SelectNumber(VEXO::sharing::db::BaseDB& database, const std::string& sql,
                  long& number);

/// Rows that the last INSERT, UPDATE or DELETE changed.
bool CountChanges(VEXO::sharing::db::BaseDB& database, long& count);

/// A transaction that may write from its first statement on, so that what is read in it
/// is still true when it is written; rolled back at its end unless it was committed.
class Transaction {
 public:
  explicit Transaction(VEXO::sharing::db::BaseDB& database);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  bool good() const { return open_; }
  /// False when it failed; its reason is the database's last error until the end.
  bool Commit();

 private:
  VEXO::sharing::db::BaseDB& database_;
  bool open_;
};

}  // namespace tools
