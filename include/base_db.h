#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "keys.h"
#include "result.h"

namespace VEXO::sharing::db {

class BaseDBPrivate;

/// A handle on one SQLite database file.
///
/// The file is created, connected and written under the system account (user id 1, group
/// id 1), whatever account the caller runs as.  This switches the effective ids of the
/// whole process, so no other thread may depend on them at that time.  A handle must not
/// be used by two threads at once, nor after fork in the child of a process that opened
/// it.
///
/// Operations return true on success.  A failed statement is not logged; GetLastError
/// has the reason.  On a handle that is not good, every statement fails and is logged.
class SHARING_EXPORT BaseDB {
 public:
  /// Opens a database.  Failures are logged, and IsGood is then false; the handle does
  /// not try again.
  ///
  /// @param path  the database file; created when it is missing
  /// @param mode  permission bits of a file that is created, such as 0660
  BaseDB(const std::string& path, unsigned int mode);
  /// Closes the database.
  virtual ~BaseDB();
  BaseDB(const BaseDB&) = delete;
  BaseDB& operator=(const BaseDB&) = delete;

  /// Whether the database is open and may be used.
  bool IsGood() const;

  /// Whether the user and the group that own the file are both named "root".  False when
  /// the file is missing.
  bool IsRoot() const;
  /// Moves the file to /tmp/ as root.  The next process that opens the path creates a new
  /// file; this handle is not reopened.
  ///
  /// @return true when the program that moves the file reported a failure, false when it
  ///         succeeded or could not be run.  The sense is inverted; callers rely on it.
  bool MoveRootDB() const;

  /// Runs SQL statements.
  ///
  /// @param sql     one or more statements
  /// @param result  receives the rows; made empty when the statement fails.  May be null.
  ///                It must be new: rows that it already holds are not released.
  /// @return true when every statement succeeded
  bool Execute(const std::string& sql, Result* result = nullptr);
  /// As above.
  bool Execute(const std::string& sql, Result& result);

  /// Error text of the last statement that failed.  A later success does not clear it.
  std::string GetLastError() const;
  /// Text of the last statement that was run.
  std::string GetLastQuery() const;
  /// Reads the row id of the last inserted row.
  ///
  /// @param[out] id  the row id; unchanged on failure
  /// @return false when the handle is not good
  bool GetLastInsertId(int& id) const;

  /// Starts a transaction.  Write in it before you read: a transaction that begins with a
  /// read and then writes fails at once when another process wrote in between.  No store
  /// may be destroyed before Commit: its checkpoint fails inside a transaction and
  /// replaces the text of GetLastError.
  bool Begin();
  /// Commits the transaction.  When that fails, the transaction is rolled back.
  bool Commit();

  /// Escapes a text for use between single quotes in SQL.  The quotes are not added.
  ///
  /// @return the escaped text, up to the first NUL of `text`; empty when it cannot be
  ///         escaped
  std::string Escape(const std::string& text) const;

  /// Copies the write-ahead log into the database file, as far as readers allow.
  bool ExecuteWALCheckPoint();
  /// Rewrites the file without unused pages.
  bool Vacuum();

  /// Inserts a row with a new row id.
  ///
  /// @param table   name of the table; not escaped, so it must not come from outside the
  ///                program
  /// @param values  values of the columns after the id, in table order; escaped here
  bool Insert(const std::string& table, const std::vector<std::string>& values);
  /// Changes a row.  True also when there is no such row.
  ///
  /// @param table    name of the table; not escaped
  /// @param columns  new values by column; a column named "id" is ignored
  /// @param id       row id
  bool Update(const std::string& table, const std::map<std::string, std::string>& columns,
              int id);
  /// Deletes a row.  True also when there is no such row.
  ///
  /// @param table  name of the table; not escaped
  /// @param id     row id
  bool Delete(const std::string& table, int id);

 private:
  friend class SharingDB;
  friend class WriteTransaction;

  std::unique_ptr<BaseDBPrivate> d_;
};

}  // namespace VEXO::sharing::db
