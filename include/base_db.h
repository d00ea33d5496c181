#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "keys.h"
#include "result.h"

namespace VEXO::sharing::db {

class BaseDBPrivate;

/// A handle on one SQLite database file.  The file is created, connected and written
/// under the system account (user id 1, group id 1) whatever account the caller runs as;
/// the switch of the effective ids is process-wide, so no other thread may depend on them
/// meanwhile.  A handle is not to be used by two threads at once, nor across fork.
///
/// Operations answer true on success.  A failed statement is not logged: its reason
/// stands in GetLastError until the next failure.
class SHARING_EXPORT BaseDB {
 public:
  /// Opens the database at `path`, and creates it with permission bits `mode` when it is
  /// missing.  Failures are logged and show in IsGood; there is no reconnect.
  BaseDB(const std::string& path, unsigned int mode);
  virtual ~BaseDB();
  BaseDB(const BaseDB&) = delete;
  BaseDB& operator=(const BaseDB&) = delete;

  bool IsGood() const;

  /// Whether user and group of the file are both named "root"; false for a missing file.
  bool IsRoot() const;
  /// Moves the file to /tmp/ as root, so that the next handle on the path makes a fresh
  /// one.  True when the mover answered other than 0: callers rely on that sense.
  bool MoveRootDB() const;

  /// Runs every statement of `sql`.  A `result` that is not null receives the rows, or
  /// nothing when the statement failed.
  bool Execute(const std::string& sql, Result* result = nullptr);
  bool Execute(const std::string& sql, Result& result);

  /// Text of the last failure; a later success leaves it.
  std::string GetLastError() const;
  std::string GetLastQuery() const;
  /// Row id of the last inserted row.
  bool GetLastInsertId(int& id) const;

  /// Starts a transaction.  Write in it before you read: a reader that becomes a writer
  /// fails at once when another process wrote in between.  A store that ends inside the
  /// transaction runs its checkpoint there, which fails and leaves its text in
  /// GetLastError.
  bool Begin();
  /// Commits; when that fails the transaction is rolled back.
  bool Commit();

  /// The text made fit to stand between single quotes in SQL; the quotes are not added. A
  /// text ends at its first NUL.  Empty when the platform cannot escape it.
  std::string Escape(const std::string& text) const;

  bool ExecuteWALCheckPoint();
  /// Compacts the file.
  bool Vacuum();

  /// Inserts a row: a new id, then `values` in table order.  Values are escaped; `table`
  /// must come from the program itself.
  bool Insert(const std::string& table, const std::vector<std::string>& values);
  /// Sets the columns of the row `id`; a column named "id" is passed over.
  bool Update(const std::string& table, const std::map<std::string, std::string>& columns,
              int id);
  /// Deletes the row `id`; true also when there is none.
  bool Delete(const std::string& table, int id);

 private:
  friend class SharingDB;
  friend class WriteTransaction;

  std::unique_ptr<BaseDBPrivate> d_;
};

}  // namespace VEXO::sharing::db
