#pragma once

#include <sqlite3.h>

#include <memory>

#include "known_statement.h"

namespace VEXO::platform {

struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};

/// A prepared statement, or null.
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

/// Gives a kept statement the values of a text for one execution.  At its end the
/// statement is reset and has no values: it points to nothing of the caller's, and keeps
/// no transaction open.
class BoundStatement {
 public:
  /// `statement` may be null.
  BoundStatement(sqlite3_stmt* statement, const ParsedText& text)
      : statement_(statement),
        good_(statement != nullptr && text.Bind(statement) == SQLITE_OK) {}
  ~BoundStatement() {
    if (statement_ == nullptr) return;
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
  }
  BoundStatement(const BoundStatement&) = delete;
  BoundStatement& operator=(const BoundStatement&) = delete;

  /// Whether there is a statement and it has its values.
  explicit operator bool() const { return good_; }

 private:
  sqlite3_stmt* const statement_;
  const bool good_;
};

}  // namespace VEXO::platform
