#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

struct sqlite3_stmt;

namespace VEXO::platform {

/// The largest number of parameters of a known statement.
constexpr std::size_t kMaxParameters = 12;

/// A statement that programs run again and again with other values.
struct KnownStatement {
  static constexpr std::size_t kMaxShorter = 2;
  using Shorter = std::array<const char*, kMaxShorter>;

  constexpr KnownStatement(const char* known, const char* updated = nullptr,
                           const Shorter& shorter_updates = {})
      : sql(known), table(updated), shorter(shorter_updates) {
    const std::string_view text(known);
    std::size_t begin = 0;
    for (std::size_t i = 0; i <= text.size(); ++i) {
      if (i < text.size() && text[i] != '?') continue;
      parts[parameters++] = text.substr(begin, i - begin);
      begin = i + 1;
    }
    --parameters;  // there is one more part
  }

  /// SQL text, with a parameter for each value.
  const char* sql;
  /// For an update by id: its table, and the shorter updates of ShortUpdate.
  const char* table;
  Shorter shorter;
  /// The number of parameters, and the texts before, between and after them.
  std::size_t parameters = 0;
  std::array<std::string_view, kMaxParameters + 1> parts = {};
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
  int Parse(std::string_view sql);
  /// Binds the values of the literals.  They are not copied: the text and this object
  /// must exist until the bindings are cleared.  Returns an SQLite result code.
  int Bind(sqlite3_stmt* statement) const;

 private:
  struct Literal {
    const char* text;  // null for a number
    int size;
    std::int64_t number;
  };

  bool Matches(const KnownStatement& known, std::string_view sql);
  bool ReadString(std::string_view* sql, Literal* literal);
  static bool ReadNumber(std::string_view* sql, Literal* literal);

  std::array<Literal, kMaxParameters> literals_;
  std::size_t count_ = 0;
  std::size_t size_ = 0;              // of the text
  std::unique_ptr<char[]> unquoted_;  // strings that have doubled quotes in the text
  char* unquoted_end_ = nullptr;
};

}  // namespace VEXO::platform
