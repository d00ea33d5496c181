#pragma once

#include <memory>
#include <string>

#include "outcome.h"
#include "sharing_db.h"

namespace command {

using VEXO::sharing::db::BaseDB;
using VEXO::sharing::db::SharingDB;

/// Whether the caller is root or the system account; told when not.
bool MayUseDatabase();

/// Opens the database for reading and writing.  Null, told, when the caller may not, or
/// when it cannot be used: the outcome is then kNotUsable.
std::unique_ptr<SharingDB> OpenDatabase(const std::string& path);

/// The same, and makes a missing one.
std::unique_ptr<SharingDB> OpenOrMakeDatabase(const std::string& path);

/// Tells the reason of the last failed statement.
Outcome DatabaseFailed(const BaseDB& db);

/// First column of the first row, named n, of a SELECT.
bool SelectNumber(BaseDB& db, const std::string& sql, long& number);

/// Rows that the last INSERT, UPDATE or DELETE changed.
bool CountChanges(BaseDB& db, long& count);

/// A transaction that may write from its first statement on; rolled back at its end
/// unless it was committed.
class Transaction {
 public:
  explicit Transaction(BaseDB& db);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  bool good() const { return open_; }
  bool Commit();

 private:
  BaseDB& db_;
  bool open_;
};

}  // namespace command
