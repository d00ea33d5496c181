#include "object_db.h"

#include "db/stores/store_sql.h"
#include "entry.h"
#include "object.h"
#include "result.h"
#include "session.h"
#include "token.h"
#include "utils/log.h"
#include "utils/plain_text.h"

namespace VEXO::sharing::db {

namespace {

const char kSource[] = "object_db";

/// Clears a condition at the end of a query, whether it succeeded or failed.
class ClearAtEnd {
 public:
  explicit ClearAtEnd(Condition& condition) : condition_(condition) {}
  ~ClearAtEnd() { condition_.Clear(); }
  ClearAtEnd(const ClearAtEnd&) = delete;
  ClearAtEnd& operator=(const ClearAtEnd&) = delete;

 private:
  Condition& condition_;
};

}  // namespace

ObjectDB::ObjectDB(BaseDB& db, const char* table, int flag)
    : db_(&db), table_(table), flag_(flag) {}

ObjectDB::~ObjectDB() { db_->ExecuteWALCheckPoint(); }

bool ObjectDB::Create(record::Object& obj) {
  if (!obj.IsLegal()) {
    LogError("%s:%d (%u) obj invalid\n", kSource, 21, Pid());
    return false;
  }
  if (!db_->Insert(table_, obj.GetFieldList())) {
    LogError("%s:%d (%u) insert failed\n", kSource, 26, Pid());
    return false;
  }
  return db_->GetLastInsertId(obj.id);
}

bool ObjectDB::Update(const record::Object& obj) {
  if (!obj.IsLegal()) {
    LogError("%s:%d (%u) obj invalid\n", kSource, 47, Pid());
    return false;
  }
  if (!db_->Update(table_, obj.GetFieldMap(), obj.id)) {
    LogError("%s:%d (%u) update failed\n", kSource, 52, Pid());
    return false;
  }
  return true;
}

bool ObjectDB::Delete(int id) {
  if (!db_->Delete(table_, id)) {
    LogError("%s:%d (%u) delete failed\n", kSource, 68, Pid());
    return false;
  }
  return true;
}

bool ObjectDB::Delete(const record::Object& obj) { return Delete(obj.id); }

bool ObjectDB::GetById(int id, record::Object& obj) const {
  PlainText sql;
  sql << "SELECT * FROM " << table_ << " WHERE id = " << id;
  return GetFirst(*db_, sql.str(), obj);
}

bool ObjectDB::Count(int& n) const {
  PlainText sql;
  sql << "SELECT COUNT(*) AS c FROM " << table_ << GetCondition().GetSQL();
  Result result;
  Row row;
  if (!db_->Execute(sql.str(), result) || !result.NextRow(row)) return false;
  n = row.GetField("c").AsInt(0);
  return true;
}

Condition& ObjectDB::GetCondition() const {
  if (condition_ == nullptr) condition_ = std::make_unique<Condition>(*db_);
  return *condition_;
}

template <class T>
bool ObjectDB::Query(std::vector<T>& out) const {
  const ClearAtEnd clear(GetCondition());
  PlainText sql;
  sql << "SELECT * FROM " << table_ << GetCondition().GetSQL();
  Result result;
  if (!db_->Execute(sql.str(), result) || !result.IsGood()) return false;
  out.clear();
  Row row;
  while (result.NextRow(row)) {
    out.emplace_back();
    if (!out.back().FromRow(row)) {
      out.pop_back();
    }
  }
  return true;
}

template SHARING_EXPORT bool ObjectDB::Query<record::Entry>(
    std::vector<record::Entry>& out) const;
template SHARING_EXPORT bool ObjectDB::Query<record::Session>(
    std::vector<record::Session>& out) const;
template SHARING_EXPORT bool ObjectDB::Query<record::Token>(
    std::vector<record::Token>& out) const;

}  // namespace VEXO::sharing::db
