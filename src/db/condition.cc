#include "condition.h"

#include <algorithm>
#include <limits>

#include "base_db.h"
#include "internal/condition_private.h"
#include "utils/plain_text.h"

namespace VEXO::sharing::db {

ConditionPrivate::ConditionPrivate(BaseDB& db) : db_(db) {}

void ConditionPrivate::AddClause(const std::string& clause, bool with_and) {
  if (!clause.empty()) {
    wheres_.push_back({"", "", clause, with_and});
  }
}

void ConditionPrivate::AddColumn(const std::string& column, const std::string& value,
                                 bool with_and) {
  if (!column.empty()) {
    wheres_.push_back({column, value, "", with_and});
  }
}

void ConditionPrivate::OrderBy(const std::string& column, bool ascending) {
  orders_.push_back({column, ascending});
}

void ConditionPrivate::Limit(int offset, int limit) {
  offset_ = offset;
  limit_ = limit;
}

void ConditionPrivate::Page(int page, int size) {
  using Int = std::numeric_limits<int>;
  const long offset = static_cast<long>(size) * (static_cast<long>(page) - 1);
  Limit(static_cast<int>(std::clamp<long>(offset, Int::min(), Int::max())), size);
}

bool ConditionPrivate::IsEmpty() const {
  return wheres_.empty() && orders_.empty() && offset_ == -1 && limit_ == -1;
}

void ConditionPrivate::Clear() {
  wheres_.clear();
  orders_.clear();
  offset_ = -1;
  limit_ = -1;
}

std::string ConditionPrivate::GetSQL() const {
  PlainText sql;
  const char* separator = " WHERE ";
  for (const _tag_where__& where : wheres_) {
    if (&where != &wheres_.front()) {
      separator = where.with_and ? " AND " : " OR ";
    }
    sql << separator;
    if (where.column.empty()) {
      sql << where.clause;
    } else {
      sql << "`" << db_.Escape(where.column) << "` = '" << db_.Escape(where.value) << "'";
    }
  }
  separator = " ORDER BY ";
  for (const _tag_order__& order : orders_) {
    sql << separator << db_.Escape(order.column) << (order.ascending ? " ASC" : " DESC");
    separator = ",";
  }
  if (limit_ > 0) {
    sql << " LIMIT " << limit_;
  }
  if (offset_ > 0) {
    sql << " OFFSET " << offset_;
  }
  return sql.str();
}

Condition::Condition(BaseDB& db) : d_(std::make_unique<ConditionPrivate>(db)) {}
Condition::~Condition() = default;

void Condition::Where(const std::string& clause) { d_->AddClause(clause, true); }
void Condition::Where(const std::string& column, const std::string& value) {
  d_->AddColumn(column, value, true);
}
void Condition::OrWhere(const std::string& clause) { d_->AddClause(clause, false); }
void Condition::OrWhere(const std::string& column, const std::string& value) {
  d_->AddColumn(column, value, false);
}
void Condition::OrderBy(const std::string& column, bool ascending) {
  d_->OrderBy(column, ascending);
}
void Condition::Limit(int offset, int limit) { d_->Limit(offset, limit); }
void Condition::Page(int page, int size) { d_->Page(page, size); }
bool Condition::IsEmpty() const { return d_->IsEmpty(); }
void Condition::Clear() { d_->Clear(); }
std::string Condition::GetSQL() const { return d_->GetSQL(); }

}  // namespace VEXO::sharing::db
