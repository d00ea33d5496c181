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

/// The store of one kind of record in one table.  It lives as long as the caller's scope,
/// on a database that outlives it, and checkpoints the write-ahead log when it ends.
/// For the thread that uses the database.  Operations answer true on success; the SQL
/// error stands in BaseDB::GetLastError.  The order of the virtual operations is part of
/// the binary interface.
class SHARING_EXPORT ObjectDB {
 public:
  virtual ~ObjectDB();
  /// Inserts a legal record and gives it its row id.
  virtual bool Create(record::Object& obj);
  /// Rewrites the row of a legal record.
  virtual bool Update(const record::Object& obj);
  virtual bool Delete(int id);
  virtual bool Delete(const record::Object& obj);
  /// Fills `obj` from its row.  False when there is none, or when it is not legal.
  virtual bool GetById(int id, record::Object& obj) const;
  /// Counts the rows that match the condition, which stays.
  virtual bool Count(int& n) const;

  /// The filter of the next Query or Count, owned by the store.
  Condition& GetCondition() const;
  /// Replaces `out` by the records that match the condition, and clears the condition.
  /// Rows that do not read, or are not legal, are left out.
  template <class T>
  bool Query(std::vector<T>& out) const;

  ObjectDB(const ObjectDB&) = delete;
  ObjectDB& operator=(const ObjectDB&) = delete;

 protected:
  /// `table` is a text that outlives the store.
  ObjectDB(BaseDB& db, const char* table, int flag);

  BaseDB* db_;
  const char* table_;
  int flag_;  // 1 in every store; no operation reads it
  std::unique_ptr<Condition> condition_;
};

}  // namespace VEXO::sharing::db
