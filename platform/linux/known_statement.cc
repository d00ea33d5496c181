#include "known_statement.h"

#include <sqlite3.h>

#include <algorithm>
#include <iterator>

namespace VEXO::platform {
namespace {

constexpr std::size_t kMaxDigits = 18;  // any such number fits in 64 bits

// A statement with a longer string takes longer to run than to compile.
constexpr std::size_t kMaxStringSize = 1 << 20;

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

bool IsQuote(std::string_view text, std::size_t at) {
  return at < text.size() && text[at] == '\'';
}

/// Removes `part` from the beginning of `text`.  False when the text does not begin with
/// it.
bool Skip(std::string_view part, std::string_view* text) {
  if (text->substr(0, part.size()) != part) return false;
  text->remove_prefix(part.size());
  return true;
}

}  // namespace

const KnownStatement& GetKnownStatement(std::size_t number) {
  return kStatements[number];
}

int ParsedText::Parse(std::string_view sql) {
  size_ = sql.size();
  for (std::size_t i = 0; i < std::size(kStatements); ++i) {
    // The last character of the first part is compared first, since many statements begin
    // with the same words.
    const std::string_view first = kStatements[i].parts.front();
    if (first.size() <= sql.size() && sql[first.size() - 1] == first.back() &&
        Matches(kStatements[i], sql)) {
      return static_cast<int>(i);
    }
  }
  return -1;
}

bool ParsedText::Matches(const KnownStatement& known, std::string_view sql) {
  if (!Skip(known.parts[0], &sql)) return false;
  count_ = known.parameters;
  unquoted_end_ = unquoted_.get();
  for (std::size_t i = 0; i < count_; ++i) {
    if (sql.empty()) return false;
    const bool read = sql.front() == '\'' ? ReadString(&sql, &literals_[i])
                                          : ReadNumber(&sql, &literals_[i]);
    if (!read || !Skip(known.parts[i + 1], &sql)) return false;
  }
  return sql.empty();
}

bool ParsedText::ReadString(std::string_view* sql, Literal* literal) {
  const std::string_view rest = sql->substr(1);
  std::size_t quote = rest.find('\'');
  if (quote > kMaxStringSize) return false;  // or if there is none
  if (!IsQuote(rest, quote + 1)) {
    *literal = {rest.data(), static_cast<int>(quote), 0};
    sql->remove_prefix(quote + 2);
    return true;
  }

  if (unquoted_ == nullptr) {
    unquoted_ = std::make_unique<char[]>(size_);  // room for every string
    unquoted_end_ = unquoted_.get();
  }
  char* const text = unquoted_end_;
  std::size_t part = 0;
  while (IsQuote(rest, quote + 1)) {
    unquoted_end_ = std::copy(&rest[part], &rest[quote], unquoted_end_);
    part = quote + 1;  // the second quote begins the next part
    quote = rest.find('\'', part + 1);
    if (quote == std::string_view::npos) return false;
  }
  unquoted_end_ = std::copy(&rest[part], &rest[quote], unquoted_end_);
  const auto size = static_cast<std::size_t>(unquoted_end_ - text);
  if (size > kMaxStringSize) return false;
  *literal = {text, static_cast<int>(size), 0};
  sql->remove_prefix(quote + 2);
  return true;
}

bool ParsedText::ReadNumber(std::string_view* sql, Literal* literal) {
  const bool negative = sql->front() == '-';
  if (negative) sql->remove_prefix(1);
  std::size_t digits = 0;
  std::int64_t number = 0;
  for (; digits < sql->size() && IsDigit((*sql)[digits]); ++digits) {
    if (digits == kMaxDigits) return false;
    number = 10 * number + ((*sql)[digits] - '0');
  }
  if (digits == 0) return false;
  *literal = {nullptr, 0, negative ? -number : number};
  sql->remove_prefix(digits);
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
