#include "result.h"

#include <sqlite3.h>

#include <charconv>
#include <cstring>

namespace {

// One row of a link and its names fit in without growing.
constexpr std::size_t kUsualSize = 1024;
constexpr std::size_t kUsualRows = 2;

}  // namespace

int DBResult_tag::Collect(sqlite3_stmt* statement) {
  // The columns are known after the first step only: it compiles the statement again when
  // the schema has changed.
  int code = sqlite3_step(statement);
  if (code != SQLITE_ROW && code != SQLITE_DONE) return code;
  const int width = sqlite3_column_count(statement);
  if (width == 0) return SQLITE_OK;

  Clear(width);
  for (int i = 0; i < width; ++i) {
    const char* const name = sqlite3_column_name(statement, i);
    if (name == nullptr) return SQLITE_NOMEM;
    Append(name);
  }
  for (; code == SQLITE_ROW; code = sqlite3_step(statement)) {
    for (int i = 0; i < width; ++i) {
      if (AppendValue(statement, i) != SQLITE_OK) return SQLITE_NOMEM;
    }
  }
  return code == SQLITE_DONE ? SQLITE_OK : code;
}

void DBResult_tag::SetRow(std::initializer_list<const char*> columns,
                          std::initializer_list<int> numbers) {
  Clear(columns.size());
  for (const char* const column : columns) Append(column);
  for (const int number : numbers) AppendNumber(number);
}

void DBResult_tag::Clear(std::size_t width) {
  width_ = width;
  texts_.clear();
  begins_.clear();
  texts_.reserve(kUsualSize);
  begins_.reserve(kUsualRows * width);
}

void DBResult_tag::Append(std::string_view text) {
  begins_.push_back(texts_.size());
  texts_.append(text).push_back('\0');
}

void DBResult_tag::AppendNumber(long long number) {
  char text[24];
  const char* const end = std::to_chars(text, text + sizeof(text), number).ptr;
  Append({text, static_cast<std::size_t>(end - text)});
}

int DBResult_tag::AppendValue(sqlite3_stmt* statement, int column) {
  const int type = sqlite3_column_type(statement, column);
  if (type == SQLITE_INTEGER) {
    AppendNumber(sqlite3_column_int64(statement, column));
    return SQLITE_OK;
  }
  const auto* const text =
      reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
  if (text == nullptr) {
    Append("");
    const int code = sqlite3_errcode(sqlite3_db_handle(statement));
    return code == SQLITE_NOMEM ? code : SQLITE_OK;
  }
  const std::size_t size = sqlite3_column_bytes(statement, column);
  Append({text, size});
  return SQLITE_OK;
}

bool DBResult_tag::NextRow(unsigned int* row) {
  if (next_ >= Rows()) return false;
  *row = next_++;
  return true;
}

const char* DBResult_tag::Field(unsigned int row, const char* column) const {
  if (row >= Rows()) return nullptr;
  for (std::size_t i = 0; i < width_; ++i) {
    const char* const name = Text(i);
    if (*name == *column && strcmp(name, column) == 0) {
      return Text((1 + std::size_t{row}) * width_ + i);
    }
  }
  return nullptr;
}

std::size_t DBResult_tag::Rows() const {
  return width_ == 0 ? 0 : begins_.size() / width_ - 1;
}
