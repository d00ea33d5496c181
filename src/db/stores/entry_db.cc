#include "entry_db.h"

#include <ctime>
#include <vexo/random.hpp>

#include "db/stores/store_sql.h"
#include "internal/entry_db_private.h"
#include "utils.h"
#include "utils/plain_text.h"

namespace VEXO::sharing::db {

namespace {

/// The links that have expired or reached their use limit.  After the last use the limit
/// is reached here, while Entry::IsValid is still true.
std::string ExpiredClause() {
  PlainText clause;
  clause << " ((expire_at != 0 AND expire_at < " << time(nullptr)
         << ") OR (expire_times != 0 AND use_count >= expire_times))";
  return clause.str();
}

}  // namespace

EntryDBPrivate::EntryDBPrivate(BaseDB& db) : ObjectDB(db, "entry", 1) {}

bool EntryDBPrivate::Delete(int id) { return ObjectDB::Delete(id); }

bool EntryDBPrivate::CreateWithHash(record::Entry& entry) {
  static RANDOM::VEXORandom generator;
  size_t length = SHARING_HASH_LENGTH;
  int attempt = 0;
  bool created = false;
  do {
    ++attempt;
    std::string hash;
    generator.getString(RANDOM::POOL_ALPHA_NUMERIC, length, hash);
    entry.set_hash(hash);
    created = Create(*entry.GetObject());
    if (attempt % 3 == 0) {
      ++length;  // after three collisions in a row, few short hashes are free
    }
  } while (!created && attempt <= SHARING_MAX_RETRY_TIMES);
  return created;
}

bool EntryDBPrivate::GetByHash(const std::string& hash, record::Entry& entry) const {
  PlainText sql;
  sql << "SELECT * FROM " << table_ << " WHERE hash = '" << db_->Escape(hash) << "'";
  return GetFirst(*db_, sql.str(), *entry.GetObject());
}

bool EntryDBPrivate::PurgeExpired(float probability) {
  if (!IsProbabilityHit(probability)) return true;
  PlainText sql;
  sql << "DELETE FROM " << table_ << " WHERE auto_gc = 1 AND " << ExpiredClause();
  return db_->Execute(sql.str());
}

bool EntryDBPrivate::DeleteByOwnerUid(unsigned int uid) {
  PlainText sql;
  sql << "DELETE FROM " << table_ << " WHERE owner_uid = " << uid;
  return db_->Execute(sql.str());
}

bool EntryDBPrivate::PurgeExpiredByOwnerProject(unsigned int uid,
                                                const std::string& project) {
  PlainText sql;
  sql << "DELETE FROM " << table_ << " WHERE";
  if (uid != UID_ERR) {
    sql << " owner_uid = " << uid << " AND";
  }
  if (!project.empty()) {
    sql << " project_name = '" << db_->Escape(project) << "' AND";
  }
  sql << ExpiredClause();
  return db_->Execute(sql.str());
}

EntryDB::EntryDB(BaseDB& db) : d_(std::make_unique<EntryDBPrivate>(db)) {}
EntryDB::~EntryDB() = default;

bool EntryDB::Create(record::Entry& entry) { return d_->Create(*entry.GetObject()); }
bool EntryDB::Update(const record::Entry& entry) {
  return d_->Update(*entry.GetCObject());
}
bool EntryDB::Delete(int id) { return d_->Delete(id); }
bool EntryDB::Delete(const record::Entry& entry) {
  return d_->Delete(*entry.GetCObject());
}
bool EntryDB::GetById(int id, record::Entry& entry) const {
  return d_->GetById(id, *entry.GetObject());
}
bool EntryDB::Count(int& count) const { return d_->Count(count); }
Condition& EntryDB::GetCondition() const { return d_->GetCondition(); }
bool EntryDB::Query(std::vector<record::Entry>& out) const { return d_->Query(out); }

bool EntryDB::CreateWithHash(record::Entry& entry) { return d_->CreateWithHash(entry); }
bool EntryDB::GetByHash(const std::string& hash, record::Entry& entry) const {
  return d_->GetByHash(hash, entry);
}
bool EntryDB::GetByToken(const record::Token& token, record::Entry& entry) const {
  return GetById(token.get_entry_id(), entry);
}
bool EntryDB::PurgeExpired(float probability) { return d_->PurgeExpired(probability); }
bool EntryDB::DeleteByOwnerUid(unsigned int uid) { return d_->DeleteByOwnerUid(uid); }
bool EntryDB::PurgeExpiredByOwnerProject(unsigned int uid, const std::string& project) {
  return d_->PurgeExpiredByOwnerProject(uid, project);
}

}  // namespace VEXO::sharing::db
