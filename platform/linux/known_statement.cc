#include "known_statement.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <iterator>

namespace VEXO::platform {
namespace {

constexpr int kMaxDigits = 18;  // any such number fits in 64 bits

// A statement with a longer string takes longer to run than to compile.
constexpr std::ptrdiff_t kMaxStringSize = 1 << 20;

// The statements of the library, exactly as it writes them.  Other texts are run too, but
// are compiled each time.
constexpr KnownStatement kStatements[] = {
    {"BEGIN IMMEDIATE"},
    {"BEGIN TRANSACTION"},
    {"COMMIT"},
    {"DELETE FROM entry WHERE id=?"},
    {"DELETE FROM session WHERE id=?"},
    {"DELETE FROM session WHERE session_id = ?"},
    {"DELETE FROM token WHERE id=?"},
    {"DELETE FROM token WHERE entry_id = ?"},
    {"INSERT INTO entry VALUES (NULL,?,?,?,?,?,?,?,?,?,?)"},
    {"INSERT INTO session VALUES (NULL,?,?,?,?)"},
    {"INSERT INTO token VALUES (NULL,?,?,?)"},
    {"ROLLBACK"},
    {"SELECT * FROM entry WHERE hash = ?"},
    {"SELECT * FROM entry WHERE id = ?"},
    {"SELECT * FROM session WHERE id = ?"},
    {"SELECT * FROM session WHERE session_id = ?"},
    {"SELECT * FROM token WHERE id = ?"},
    {"SELECT * FROM token WHERE session_id = ? AND entry_id = ?"},

    {"UPDATE entry SET auto_gc=?,data=?,enabled=?,expire_at=?,expire_times=?,hash=?,"
     "owner_uid=?,project_name=?,start_at=?,use_count=? WHERE id=?",
     "entry",
     {"UPDATE entry SET data=?2,enabled=?3,expire_times=?5,start_at=?9,use_count=?10"
      " WHERE id=?11 AND auto_gc IS ?1 AND expire_at IS ?4 AND owner_uid IS ?7"
      " AND hash IS ?6 COLLATE BINARY AND project_name IS ?8 COLLATE BINARY"}},

    {"UPDATE session SET ip=?,session_id=?,timeout=?,uid=? WHERE id=?",
     "session",
     {"UPDATE session SET ip=?1,timeout=?3,uid=?4"
      " WHERE id=?5 AND session_id IS ?2 COLLATE BINARY AND timeout IS NOT ?3",
      "UPDATE session SET ip=?1,uid=?4"
      " WHERE id=?5 AND session_id IS ?2 COLLATE BINARY AND timeout IS ?3"}},

    // All columns of a token have indexes.  An update that changes none of them must
    // still count as a change of one row.
    {"UPDATE token SET entry_id=?,session_id=?,timeout=? WHERE id=?",
     "token",
     {"UPDATE token SET timeout=?3"
      " WHERE id=?4 AND entry_id IS ?1 AND session_id IS ?2 AND timeout IS NOT ?3",
      "UPDATE sqlite_sequence SET seq=seq WHERE name='token' AND EXISTS"
      " (SELECT * FROM token"
      " WHERE id=?4 AND entry_id IS ?1 AND session_id IS ?2 AND timeout IS ?3)"}},
};
static_assert(std::size(kStatements) <= kMaxKnownStatements);

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

const KnownStatement& GetKnownStatement(std::size_t number) {
  return kStatements[number];
}

int ParsedText::Parse(const char* sql) {
  sql_ = sql;
  for (std::size_t i = 0; i < std::size(kStatements); ++i) {
    const char* const known = kStatements[i].sql;
    if (*known == *sql && Matches(known, sql)) return static_cast<int>(i);
  }
  return -1;
}

bool ParsedText::Matches(const char* known, const char* sql) {
  count_ = 0;
  unquoted_end_ = unquoted_.get();
  for (; *known != '\0'; ++known) {
    if (*known == '?') {
      if (!ReadLiteral(&sql)) return false;
    } else if (*known != *sql++) {
      return false;
    }
  }
  return *sql == '\0';
}

bool ParsedText::ReadLiteral(const char** sql) {
  if (count_ == literals_.size()) return false;
  Literal* const literal = &literals_[count_++];
  return **sql == '\'' ? ReadString(sql, literal) : ReadNumber(sql, literal);
}

bool ParsedText::ReadString(const char** sql, Literal* literal) {
  const char* const begin = *sql + 1;
  const char* quote = strchr(begin, '\'');
  if (quote == nullptr || quote - begin > kMaxStringSize) return false;
  if (quote[1] != '\'') {
    *literal = {begin, static_cast<int>(quote - begin), 0};
    *sql = quote + 1;
    return true;
  }

  if (unquoted_ == nullptr) {
    unquoted_ = std::make_unique<char[]>(strlen(sql_));  // room for every string
    unquoted_end_ = unquoted_.get();
  }
  char* const text = unquoted_end_;
  const char* part = begin;
  while (quote[1] == '\'') {
    unquoted_end_ = std::copy(part, quote, unquoted_end_);
    part = quote + 1;  // the second quote begins the next part
    quote = strchr(part + 1, '\'');
    if (quote == nullptr) return false;
  }
  unquoted_end_ = std::copy(part, quote, unquoted_end_);
  if (unquoted_end_ - text > kMaxStringSize) return false;
  *literal = {text, static_cast<int>(unquoted_end_ - text), 0};
  *sql = quote + 1;
  return true;
}

bool ParsedText::ReadNumber(const char** sql, Literal* literal) {
  const char* digit = *sql;
  const bool negative = *digit == '-';
  if (negative) ++digit;
  const char* const first = digit;
  std::int64_t number = 0;
  for (; IsDigit(*digit); ++digit) {
    if (digit - first == kMaxDigits) return false;
    number = 10 * number + (*digit - '0');
  }
  if (digit == first) return false;
  *literal = {nullptr, 0, negative ? -number : number};
  *sql = digit;
  return true;
}

int ParsedText::Bind(sqlite3_stmt* statement) const {
  int code = SQLITE_OK;
  for (std::size_t i = 0; i < count_ && code == SQLITE_OK; ++i) {
    const Literal& literal = literals_[i];
    const int parameter = static_cast<int>(i) + 1;
    code = literal.text == nullptr
               ? sqlite3_bind_int64(statement, parameter, literal.number)
               : sqlite3_bind_text(statement, parameter, literal.text, literal.size,
                                   SQLITE_STATIC);
  }
  return code;
}

}  // namespace VEXO::platform
