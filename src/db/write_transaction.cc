#include "db/write_transaction.h"

#include "base_db.h"
#include "internal/base_db_private.h"

namespace VEXO::sharing::db {

WriteTransaction::WriteTransaction(BaseDB& db)
    : db_(db),
      open_(!db.d_->InTransaction() && db.Execute("BEGIN IMMEDIATE")),
      good_(open_ || db.d_->InTransaction()) {}

WriteTransaction::~WriteTransaction() {
  if (open_) {
    db_.Execute("ROLLBACK");
  }
}

bool WriteTransaction::Commit() {
  if (!open_) return good_;
  open_ = false;
  return db_.Commit();
}

}  // namespace VEXO::sharing::db
