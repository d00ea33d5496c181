#pragma once

#include <array>

#include "known_statement.h"
#include "statement.h"

namespace VEXO::platform {

/// Runs an update by id that sets all columns of a row, as the library does to store a
/// record, but writes fewer indexes.  SQLite alone writes every index that has a column
/// of the update, even if the value stays the same.
///
/// The shorter updates set fewer columns, and have the condition that the others are
/// equal to the new values.  So one of them changes the row exactly as the whole update
/// would, or none of them changes anything, and the whole update must be run.
///
/// They are used only if the result is the same: the id is the key of the table, its
/// columns are integers and texts, it has no checks, no collations and no triggers for
/// updates, and no table has foreign keys.
class ShortUpdate {
 public:
  ShortUpdate() = default;
  ShortUpdate(const ShortUpdate&) = delete;
  ShortUpdate& operator=(const ShortUpdate&) = delete;

  /// True when the update has been run, with its SQLite result code in `*code`.  False
  /// when the whole update must be run; nothing has changed then.
  bool Run(sqlite3* connection, const KnownStatement& known, const ParsedText& text,
           int* code);

 private:
  enum class State { kNew, kUsed, kReady, kUnsuitable };

  bool IsReady(sqlite3* connection, const KnownStatement& known);

  State state_ = State::kNew;
  std::array<Statement, KnownStatement::kMaxShorter> updates_;
};

}  // namespace VEXO::platform
