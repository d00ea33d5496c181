#pragma once

#include <sqlite3.h>

#include <array>
#include <string_view>

#include "known_statement.h"
#include "result.h"
#include "short_update.h"
#include "statement.h"

namespace VEXO::platform {

/// Whether `connection` has attached databases.
bool HasAttached(sqlite3* connection);

/// The known statements of one connection, prepared when they are first used and kept:
/// compiling a short statement takes longer than running it.
class KeptStatements {
 public:
  /// `connection` is open until this object ends.
  explicit KeptStatements(sqlite3* connection) : connection_(connection) {}
  KeptStatements(const KeptStatements&) = delete;
  KeptStatements& operator=(const KeptStatements&) = delete;

  /// Runs `sql` with a kept statement, which then has no values and keeps no transaction
  /// open.  If it has columns, its rows replace those of `result`.  `*code` is the SQLite
  /// result code.
  ///
  /// @return false when the text is not a known statement, or cannot be prepared: it has
  ///         not been run, and must be run as text, which also tells why it fails
  bool Run(std::string_view sql, DBResult_tag* result, int* code);

 private:
  struct Kept {
    Statement statement;
    ColumnNames names;
    ShortUpdate short_update;
  };

  sqlite3* const connection_;
  std::array<Kept, kMaxKnownStatements> kept_;
};

}  // namespace VEXO::platform
