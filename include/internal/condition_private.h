#pragma once

#include <string>
#include <vector>

namespace VEXO::sharing::db {

class BaseDB;

/// The implementation of Condition.
class ConditionPrivate {
 public:
  explicit ConditionPrivate(BaseDB& db);

  void AddClause(const std::string& clause, bool with_and);
  void AddColumn(const std::string& column, const std::string& value, bool with_and);
  void OrderBy(const std::string& column, bool ascending);
  void Limit(int offset, int limit);
  void Page(int page, int size);
  bool IsEmpty() const;
  void Clear();
  std::string GetSQL() const;

 private:
  /// A condition that a column has a value, or SQL text when `column` is empty.
  struct _tag_where__ {
    std::string column;
    std::string value;
    std::string clause;
    bool with_and;  // false: joined to the previous term with OR
  };
  struct _tag_order__ {
    std::string column;
    bool ascending;
  };

  BaseDB& db_;
  std::vector<_tag_where__> wheres_;
  std::vector<_tag_order__> orders_;
  int offset_ = -1;  // -1: none
  int limit_ = -1;
};

}  // namespace VEXO::sharing::db
