#pragma once

#include <memory>
#include <string>

#include "keys.h"

namespace VEXO::sharing::db {

class BaseDB;
class ConditionPrivate;

/// Filter, order and paging of a query.
///
/// Terms are added until Clear.  A store's Query clears its condition, a store's Count
/// does not.  Terms are written without parentheses, so AND binds before OR.  A condition
/// must not be used by two threads at once.
class SHARING_EXPORT Condition {
 public:
  /// Creates an empty condition.
  ///
  /// @param db  the database whose Escape is used; must outlive the condition
  explicit Condition(BaseDB& db);
  ~Condition();
  Condition(const Condition&) = delete;
  Condition& operator=(const Condition&) = delete;

  /// Adds a SQL condition, joined with AND.
  ///
  /// @param clause  SQL text; not escaped, so it must not come from outside the program.
  ///                An empty text is ignored.
  void Where(const std::string& clause);
  /// Adds the condition that a column has a value, joined with AND.
  ///
  /// @param column  name of the column; escaped.  An empty name is ignored.
  /// @param value   the value; escaped
  void Where(const std::string& column, const std::string& value);
  /// As Where(clause), joined with OR.
  void OrWhere(const std::string& clause);
  /// As Where(column, value), joined with OR.
  void OrWhere(const std::string& column, const std::string& value);
  /// Adds a column to sort by, after those already added.
  void OrderBy(const std::string& column, bool ascending);
  /// Sets the range of rows.
  ///
  /// @param offset  number of rows to skip; none when 0 or less
  /// @param limit   maximum number of rows; no limit when 0 or less.  SQLite rejects an
  ///                offset without a limit.
  void Limit(int offset, int limit);
  /// Sets the range of rows to one page.
  ///
  /// @param page  number of the page, counted from 1
  /// @param size  rows of a page
  void Page(int page, int size);

  /// Whether nothing has been set.
  bool IsEmpty() const;
  /// Removes all terms, the order and the range.
  void Clear();

  /// The SQL text that follows the table name in a SELECT.  It begins with a blank, or is
  /// empty.
  std::string GetSQL() const;

 private:
  std::unique_ptr<ConditionPrivate> d_;
};

}  // namespace VEXO::sharing::db
