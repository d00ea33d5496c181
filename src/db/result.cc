#include "result.h"

#include <vexo/db.h>

#include <locale>

#include "utils/null_text.h"

namespace VEXO::sharing::db {

namespace {

template <class T>
T Extract(std::istream& stream, T def) {
  T value{};
  stream >> value;
  return stream.fail() ? def : value;
}

}  // namespace

Field::Field(const std::string& text) : text_(text), stream_(text) {
  stream_.imbue(std::locale::classic());  // in any locale of the program
}

Field::~Field() = default;

void Field::Clear() { stream_.str(text_); }

int Field::AsInt(int def) {
  Clear();
  return Extract(stream_, def);
}

unsigned int Field::AsUInt(unsigned int def) {
  Clear();
  return Extract(stream_, def);
}

long Field::AsTime(long def) {
  Clear();
  return Extract(stream_, def);
}

float Field::AsFloat(float def) {
  Clear();
  return Extract(stream_, def);
}

// On purpose "true", "01" and the empty text are false.
bool Field::AsBool(bool /*def*/) {
  Clear();
  return stream_.str() == "1";
}

// On purpose the default has no effect: an empty column is an empty text.
const std::string& Field::AsString(const std::string& /*def*/) { return text_; }

Row::Row() = default;
Row::Row(DBResult_tag* handle, unsigned int row) : handle_(handle), row_(row) {}
Row::~Row() = default;

bool Row::IsGood() const { return handle_ != nullptr; }
void Row::SetResult(DBResult_tag* handle) { handle_ = handle; }
void Row::SetRow(unsigned int row) { row_ = row; }

Field Row::GetField(const std::string& column) const {
  if (!IsGood()) return Field("");
  return Field(TextOrThrow(VEXODBFetchField(handle_, row_, column.c_str())));
}

Result::Result() = default;
Result::Result(DBResult_tag* handle) : handle_(handle) {}

Result::~Result() {
  if (handle_ != nullptr) {
    VEXODBFreeResult(handle_);
  }
}

bool Result::IsGood() const { return handle_ != nullptr; }
void Result::SetResult(DBResult_tag* handle) { handle_ = handle; }

bool Result::NextRow(Row& row) {
  if (VEXODBFetchRow(handle_, &cursor_) == -1) return false;
  row.SetResult(handle_);
  row.SetRow(cursor_);
  return true;
}

}  // namespace VEXO::sharing::db
