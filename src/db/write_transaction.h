#pragma once

namespace VEXO::sharing::db {

class BaseDB;

/// A write transaction: it takes the write lock when it begins, so no other process can
/// change what it has read.  Rolled back on destruction unless committed.  Inside a
/// transaction of the caller it does nothing; the caller commits or rolls back.  Destroy
/// it before any store used in it: the checkpoint at a store's end fails inside a
/// transaction.
class WriteTransaction {
 public:
  explicit WriteTransaction(BaseDB& db);
  ~WriteTransaction();
  WriteTransaction(const WriteTransaction&) = delete;
  WriteTransaction& operator=(const WriteTransaction&) = delete;

  /// Whether a transaction is open: this one or the caller's.
  explicit operator bool() const { return good_; }
  /// False when the commit failed; the transaction is then rolled back.
  bool Commit();

 private:
  BaseDB& db_;
  bool open_;  // false inside a transaction of the caller
  const bool good_;
};

}  // namespace VEXO::sharing::db
