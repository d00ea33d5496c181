#pragma once

#include <string>

#include "base_db.h"

namespace tools {

/// First column of the first row, named n, of a SELECT.
bool SelectNumber(VEXO::sharing::db::BaseDB& database, const std::string& sql,
                  long& number);

/// Rows that the last INSERT, UPDATE or DELETE changed.
bool CountChanges(VEXO::sharing::db::BaseDB& database, long& count);

/// A write transaction: it takes the write lock when it begins, so no other process can
/// change what it has read.  Rolled back on destruction unless committed.
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
