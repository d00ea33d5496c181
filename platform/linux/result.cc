#include "result.h"

#include <sqlite3.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <utility>

using VEXO::platform::ColumnNames;
using VEXO::platform::NameList;

namespace VEXO::platform {

const NameList& ColumnNames::Of(sqlite3_stmt* statement) {
  const int compilation = sqlite3_stmt_status(statement, SQLITE_STMTSTATUS_REPREPARE, 0);
  if (names_ != nullptr && compilation == compilation_) return names_;
  names_ = nullptr;
  std::vector<std::string> names(sqlite3_column_count(statement));
  for (std::size_t i = 0; i < names.size(); ++i) {
    const char* const name = sqlite3_column_name(statement, static_cast<int>(i));
    if (name == nullptr) return names_;
    names[i] = name;
  }
  names_ = std::make_shared<const std::vector<std::string>>(std::move(names));
  compilation_ = compilation;
  return names_;
}

}  // namespace VEXO::platform

namespace {

constexpr std::size_t kUsualSize = 1000;  // enough for the row of a usual link
constexpr std::size_t kMaxDigits = 20;    // of the smallest number, with its sign

}  // namespace

int DBResult_tag::Collect(sqlite3_stmt* statement, ColumnNames* names) {
  // The columns are known after the first step only: it compiles the statement again when
  // the schema has changed.
  int code = sqlite3_step(statement);
  if (code != SQLITE_ROW && code != SQLITE_DONE) return code;
  const int width = sqlite3_column_count(statement);
  if (width == 0) return SQLITE_OK;

  Clear(names->Of(statement));
  if (names_ == nullptr) return SQLITE_NOMEM;
  for (; code == SQLITE_ROW; code = sqlite3_step(statement)) {
    for (int i = 0; i < width; ++i) {
      if (AddValue(statement, i) != SQLITE_OK) return SQLITE_NOMEM;
    }
  }
  return code == SQLITE_DONE ? SQLITE_OK : code;
}

void DBResult_tag::SetRow(const NameList& names, std::initializer_list<int> numbers) {
  Clear(names);
  for (const int number : numbers) AddNumber(number);
}

void DBResult_tag::Clear(const NameList& names) {
  names_ = names;
  used_ = 0;
  begins_.clear();
  begins_.reserve(Width());
}

/// Adds a value of this size.  Returns where to write it; the NUL behind it is set.
char* DBResult_tag::Add(std::size_t size) {
  const std::size_t begin = used_;
  used_ += size + 1;
  if (used_ > capacity_) Grow(begin);
  begins_.push_back(begin);
  char* const text = texts_.get() + begin;
  text[size] = '\0';
  return text;
}

/// Makes room for `used_` bytes, and keeps the first `kept`.
void DBResult_tag::Grow(std::size_t kept) {
  capacity_ = std::max({kUsualSize, used_, 2 * capacity_});
  std::unique_ptr<char[]> texts(new char[capacity_]);  // not filled with zeros
  std::copy_n(texts_.get(), kept, texts.get());
  texts_ = std::move(texts);
}

void DBResult_tag::AddText(std::string_view text) {
  std::copy(text.begin(), text.end(), Add(text.size()));
}

void DBResult_tag::AddNumber(long long number) {
  char text[kMaxDigits];
  const char* const end = std::to_chars(text, text + sizeof(text), number).ptr;
  AddText({text, static_cast<std::size_t>(end - text)});
}

int DBResult_tag::AddValue(sqlite3_stmt* statement, int column) {
  sqlite3_value* const value = sqlite3_column_value(statement, column);
  switch (sqlite3_value_type(value)) {
    case SQLITE_INTEGER:
      AddNumber(sqlite3_value_int64(value));
      return SQLITE_OK;
    case SQLITE_NULL:
      AddText("");
      return SQLITE_OK;
    case SQLITE_TEXT: {
      // As a blob, the text needs no terminating 0, for which SQLite would copy it.  The
      // size comes first: asking for it converts the text to UTF-8.
      const std::size_t size = sqlite3_value_bytes(value);
      const auto* const text = static_cast<const char*>(sqlite3_value_blob(value));
      if ((text == nullptr) != (size == 0)) return SQLITE_NOMEM;
      AddText({text, size});
      return SQLITE_OK;
    }
    default: {
      const auto* const text =
          reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
      if (text == nullptr &&
          sqlite3_errcode(sqlite3_db_handle(statement)) == SQLITE_NOMEM) {
        return SQLITE_NOMEM;
      }
      const std::size_t size = sqlite3_column_bytes(statement, column);
      AddText({text, text == nullptr ? 0 : size});
      return SQLITE_OK;
    }
  }
}

bool DBResult_tag::NextRow(unsigned int* row) {
  if (next_ >= Rows()) return false;
  *row = next_++;
  return true;
}

const char* DBResult_tag::Field(unsigned int row, const char* column) const {
  if (row >= Rows()) return nullptr;
  for (std::size_t i = 0; i < Width(); ++i) {
    const char* const name = (*names_)[i].c_str();
    if (*name == *column && strcmp(name, column) == 0) {
      return texts_.get() + begins_[std::size_t{row} * Width() + i];
    }
  }
  return nullptr;
}
