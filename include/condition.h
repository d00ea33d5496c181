#pragma once

#include <memory>
#include <string>

#include "keys.h"

namespace VEXO::sharing::db {

class BaseDB;
class ConditionPrivate;

/// Filter, order and paging of a query.  It gathers until Clear; a store's Query clears
/// it, a store's Count does not.  Terms stand without parentheses: AND binds before OR.
/// For the thread that uses the database.
class SHARING_EXPORT Condition {
 public:
  /// An empty condition; `db`, which escapes its texts, must outlive it.
  explicit Condition(BaseDB& db);
  ~Condition();
  Condition(const Condition&) = delete;
  Condition& operator=(const Condition&) = delete;

  /// Adds a raw SQL condition, joined with AND.  It is written as it is and must come
  /// from the program itself; an empty one is ignored.
  void Where(const std::string& clause);
  /// Adds column = value, joined with AND; ignored when `column` is empty.
  void Where(const std::string& column, const std::string& value);
  /// As Where(clause), joined with OR.
  void OrWhere(const std::string& clause);
  /// As Where(column, value), joined with OR.
  void OrWhere(const std::string& column, const std::string& value);
  void OrderBy(const std::string& column, bool ascending);
  /// Rows to skip, then the most rows to return: 0 or less writes neither.  SQLite
  /// refuses an offset without a limit.
  void Limit(int offset, int limit);
  /// Page `page`, counted from 1, of `size` rows.
  void Page(int page, int size);

  bool IsEmpty() const;
  void Clear();

  /// What follows the table name in a SELECT: it begins with a blank, or is empty.
  std::string GetSQL() const;

 private:
  std::unique_ptr<ConditionPrivate> d_;
};

}  // namespace VEXO::sharing::db
