#pragma once

namespace VEXO::sharing::db {

class BaseDB;

/// A write transaction.  It takes the write lock when it begins, so no other process can
/// change what it has read.  The destructor rolls back a transaction that was not
/// committed.  Inside a transaction of the caller it does nothing.  Destroy it before the
/// stores that are used in it, since the checkpoint of a store fails inside a
/// transaction.
class WriteTransaction {
 public:
  explicit WriteTransaction(BaseDB& db);
  ~WriteTransaction();
  WriteTransaction(const WriteTransaction&) = delete;
  WriteTransaction& operator=(const WriteTransaction&) = delete;

  /// Whether a transaction is open, either this one or one of the caller.
  explicit operator bool() const { return good_; }
  /// Commits.  When that fails, the transaction is rolled back.
  bool Commit();

 private:
  BaseDB& db_;
  bool open_;  // false in a transaction of the caller
  const bool good_;
};

}  // namespace VEXO::sharing::db
