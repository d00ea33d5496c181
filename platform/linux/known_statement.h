#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

struct sqlite3_stmt;

namespace VEXO::platform {

/// A statement that programs run again and again with other values.
struct KnownStatement {
  static constexpr std::size_t kMaxShorter = 2;

  /// SQL text, with a parameter for each value.
  const char* sql;
  /// For an update by id: its table, and the shorter updates of ShortUpdate.
  const char* table = nullptr;
  std::array<const char*, kMaxShorter> shorter = {};
};

/// The largest number of known statements.
constexpr std::size_t kMaxKnownStatements = 32;

const KnownStatement& GetKnownStatement(std::size_t number);

/// Recognizes an SQL text that is a known statement with literals in place of its
/// parameters, byte for byte: no other case, no additional blank, no comment, no second
/// statement.
///
/// A literal is a string in single quotes, in which quotes are doubled, or a decimal
/// integer of up to 18 digits that may have a minus sign.  Where a known statement has a
/// parameter, such a literal means the same as a bound value.
class ParsedText {
 public:
  /// The number of the known statement that `sql` is; -1 for any other text.
  int Parse(const char* sql);
  /// Binds the values of the literals.  They are not copied: the text and this object
  /// must exist until the bindings are cleared.  Returns an SQLite result code.
  int Bind(sqlite3_stmt* statement) const;

 private:
  static constexpr std::size_t kMaxLiterals = 16;

  struct Literal {
    const char* text;  // null for a number
    int size;
    std::int64_t number;
  };

  bool Matches(const char* known, const char* sql);
  bool ReadLiteral(const char** sql);
  bool ReadString(const char** sql, Literal* literal);
  static bool ReadNumber(const char** sql, Literal* literal);

  std::array<Literal, kMaxLiterals> literals_;
  std::size_t count_ = 0;
  const char* sql_ = nullptr;
  std::unique_ptr<char[]> unquoted_;  // strings that have doubled quotes in the text
  char* unquoted_end_ = nullptr;
};

}  // namespace VEXO::platform
