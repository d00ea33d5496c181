#pragma once

#include <memory>
#include <vector>

#include "base_db.h"
#include "condition.h"
#include "keys.h"

namespace VEXO::sharing::record {
class Object;
}

namespace VEXO::sharing::db {

/// The store of one kind of record in one table.
///
/// A store is created for as long as it is needed, and must not be used by two threads at
/// once.  Operations return true on success; BaseDB::GetLastError has the reason of a
/// failed statement.  The order of the virtual functions is part of the binary interface.
class SHARING_EXPORT ObjectDB {
 public:
  /// Runs a checkpoint of the write-ahead log.
  virtual ~ObjectDB();
  /// Inserts a legal record and sets its row id.  False, logged, when it is not legal.
  virtual bool Create(record::Object& obj);
  /// Writes all columns of a legal record.  False, logged, when it is not legal.
  virtual bool Update(const record::Object& obj);
  /// Deletes the row with this id.  True also when there is none.
  virtual bool Delete(int id);
  /// Deletes the record's row.  True also when there is none.
  virtual bool Delete(const record::Object& obj);
  /// Reads a record by row id.
  ///
  /// @param id        row id
  /// @param[out] obj  the record; unchanged when there is no such row
  /// @return false when there is no such row, or when the record is not legal
  virtual bool GetById(int id, record::Object& obj) const;
  /// Counts the rows that match the condition.  The condition is kept.
  ///
  /// @param[out] n  number of rows; unchanged on failure
  virtual bool Count(int& n) const;

  /// The condition of the next Query or Count; the store owns it.
  Condition& GetCondition() const;
  /// Reads the records that match the condition, and clears the condition, also on
  /// failure.
  ///
  /// @tparam T        Entry, Session or Token of namespace VEXO::sharing::record
  /// @param[out] out  the legal records; unchanged on failure.  Rows that are unreadable
  ///                  or not legal are left out.
  template <class T>
  bool Query(std::vector<T>& out) const;

  ObjectDB(const ObjectDB&) = delete;
  ObjectDB& operator=(const ObjectDB&) = delete;

 protected:
  /// @param db     the database; must outlive the store
  /// @param table  name of the table; must outlive the store
  /// @param flag   not used; 1 in every store
  ObjectDB(BaseDB& db, const char* table, int flag);

  BaseDB* db_;
  const char* table_;
  int flag_;  // 1 in every store; no operation reads it
  mutable std::unique_ptr<Condition> condition_;  // null until it is used
};

}  // namespace VEXO::sharing::db
