#include "internal/write_transaction.h"

#include "base_db.h"
#include "internal/base_db_private.h"

namespace VEXO::sharing::db {

WriteTransaction::WriteTransaction(BaseDB& db)
    : db_(db),
      nested_(db.d_->InTransaction()),
      good_(nested_ || db.Execute("BEGIN IMMEDIATE")),
      open_(good_ && !nested_) {}

WriteTransaction::~WriteTransaction() {
  if (open_) {
    db_.Execute("ROLLBACK");
  }
}

bool WriteTransaction::Commit() {
  if (nested_) {
    return true;
  }
  open_ = false;
  return db_.Commit();
}

}  // namespace VEXO::sharing::db
