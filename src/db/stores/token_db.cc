#include "token_db.h"

#include "db/stores/store_sql.h"
#include "internal/token_db_private.h"
#include "utils/plain_text.h"

namespace VEXO::sharing::db {

TokenDBPrivate::TokenDBPrivate(BaseDB& db) : ObjectDB(db, "token", 1) {}

bool TokenDBPrivate::Delete(int id) { return ObjectDB::Delete(id); }

bool TokenDBPrivate::PurgeExpired(float probability) {
  return PurgePastDeadline(*db_, table_, probability);
}

bool TokenDBPrivate::GetBySessionEntry(const record::Session& session,
                                       const record::Entry& entry,
                                       record::Token& token) const {
  PlainText sql;
  sql << "SELECT * FROM " << table_ << " WHERE session_id = " << session.get_id()
      << " AND entry_id = " << entry.get_id();
  return GetFirst(*db_, sql.str(), *token.GetObject());
}

bool TokenDBPrivate::PurgeByEntry(const record::Entry& entry) {
  PlainText sql;
  sql << "DELETE FROM " << table_ << " WHERE entry_id = " << entry.get_id();
  return db_->Execute(sql.str());
}

TokenDB::TokenDB(BaseDB& db) : d_(std::make_unique<TokenDBPrivate>(db)) {}
TokenDB::~TokenDB() = default;

bool TokenDB::Create(record::Token& token) { return d_->Create(*token.GetObject()); }
bool TokenDB::Update(const record::Token& token) {
  return d_->Update(*token.GetCObject());
}
bool TokenDB::Delete(int id) { return d_->Delete(id); }
bool TokenDB::Delete(const record::Token& token) {
  return d_->Delete(*token.GetCObject());
}
bool TokenDB::GetById(int id, record::Token& token) const {
  return d_->GetById(id, *token.GetObject());
}
bool TokenDB::Count(int& count) const { return d_->Count(count); }
Condition& TokenDB::GetCondition() const { return d_->GetCondition(); }
bool TokenDB::Query(std::vector<record::Token>& out) const { return d_->Query(out); }

bool TokenDB::GetBySessionEntry(const record::Session& session,
                                const record::Entry& entry, record::Token& token) const {
  return d_->GetBySessionEntry(session, entry, token);
}
bool TokenDB::PurgeExpired(float probability) { return d_->PurgeExpired(probability); }
bool TokenDB::PurgeByEntry(const record::Entry& entry) { return d_->PurgeByEntry(entry); }

}  // namespace VEXO::sharing::db
