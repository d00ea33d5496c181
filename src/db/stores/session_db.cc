#include "session_db.h"

#include <vexo/random.hpp>

#include "db/stores/store_sql.h"
#include "internal/session_db_private.h"
#include "utils/plain_text.h"

namespace VEXO::sharing::db {

SessionDBPrivate::SessionDBPrivate(BaseDB& db) : ObjectDB(db, "session", 1) {}

bool SessionDBPrivate::Delete(int id) { return ObjectDB::Delete(id); }

bool SessionDBPrivate::PurgeExpired(float probability) {
  return PurgePastDeadline(*db_, table_, probability);
}

bool SessionDBPrivate::CreateWithSessionId(record::Session& session) {
  static RANDOM::VEXORandom generator;
  int attempt = 0;
  bool created = false;
  do {
    ++attempt;
    std::string session_id;
    generator.getString(RANDOM::POOL_URL_FRIENDLY, SHARING_SESSION_LENGTH, session_id);
    session.set_session_id(session_id);
    created = Create(*session.GetObject());
  } while (!created && attempt <= SHARING_MAX_RETRY_TIMES);
  return created;
}

bool SessionDBPrivate::DeleteBySessionId(const std::string& session_id) {
  PlainText sql;
  sql << "DELETE FROM " << table_ << " WHERE session_id = '" << db_->Escape(session_id)
      << "'";
  return db_->Execute(sql.str());
}

bool SessionDBPrivate::GetBySessionId(const std::string& session_id,
                                      record::Session& session) const {
  PlainText sql;
  sql << "SELECT * FROM " << table_ << " WHERE session_id = '" << db_->Escape(session_id)
      << "'";
  return GetFirst(*db_, sql.str(), *session.GetObject());
}

SessionDB::SessionDB(BaseDB& db) : d_(std::make_unique<SessionDBPrivate>(db)) {}
SessionDB::~SessionDB() = default;

bool SessionDB::Create(record::Session& session) {
  return d_->Create(*session.GetObject());
}
bool SessionDB::Update(const record::Session& session) {
  return d_->Update(*session.GetCObject());
}
bool SessionDB::Delete(int id) { return d_->Delete(id); }
bool SessionDB::Delete(const record::Session& session) {
  return d_->Delete(*session.GetCObject());
}
bool SessionDB::GetById(int id, record::Session& session) const {
  return d_->GetById(id, *session.GetObject());
}
bool SessionDB::Count(int& count) const { return d_->Count(count); }
Condition& SessionDB::GetCondition() const { return d_->GetCondition(); }
bool SessionDB::Query(std::vector<record::Session>& out) const { return d_->Query(out); }

bool SessionDB::CreateWithSessionId(record::Session& session) {
  return d_->CreateWithSessionId(session);
}
bool SessionDB::DeleteBySessionId(const std::string& session_id) {
  return d_->DeleteBySessionId(session_id);
}
bool SessionDB::GetBySessionId(const std::string& session_id,
                               record::Session& session) const {
  return d_->GetBySessionId(session_id, session);
}
bool SessionDB::PurgeExpired(float probability) { return d_->PurgeExpired(probability); }

}  // namespace VEXO::sharing::db
