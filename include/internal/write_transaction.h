#pragma once

namespace VEXO::sharing::db {

class BaseDB;

/// A transaction that may write from its first statement on, so that what is read in it
/// is still true when it is written.  It is rolled back at its end unless it was
/// committed.  Inside a transaction of the caller it does nothing: that one is the
/// caller's to end.  It must end before the stores that are used in it, whose checkpoint
/// would fail.
class WriteTransaction {
 public:
  explicit WriteTransaction(BaseDB& db);
  ~WriteTransaction();
  WriteTransaction(const WriteTransaction&) = delete;
  WriteTransaction& operator=(const WriteTransaction&) = delete;

  /// Whether there is a transaction, this one or the caller's.
  explicit operator bool() const { return good_; }
  /// False when it failed and was rolled back.
  bool Commit();

 private:
  BaseDB& db_;
  const bool nested_;
  const bool good_;
  bool open_;
};

}  // namespace VEXO::sharing::db
