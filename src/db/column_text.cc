#include "db/column_text.h"

#include <vexo/db.h>

#include <charconv>

#include "result.h"

namespace VEXO::sharing::db {

namespace {

/// Reads a decimal number at the beginning of a text; only a signed one may have a minus
/// sign.  False when the text begins with anything else, or the number does not fit.
template <class T>
bool ReadPlain(std::string_view text, T& number) {
  return std::from_chars(text.data(), text.data() + text.size(), number).ec ==
         std::errc();
}

std::string_view FetchText(DBResult_tag* handle, unsigned int row, const char* column) {
  const char* const text = VEXODBFetchField(handle, row, column);
  return text == nullptr ? "" : text;
}

}  // namespace

ColumnText::ColumnText(const Row& row, const char* column)
    : text_(row.IsGood() ? FetchText(row.handle_, row.row_, column) : "") {}

int ColumnText::AsInt(int def) const {
  int number = 0;
  return ReadPlain(text_, number) ? number : Field(std::string(text_)).AsInt(def);
}

unsigned int ColumnText::AsUInt(unsigned int def) const {
  unsigned int number = 0;
  return ReadPlain(text_, number) ? number : Field(std::string(text_)).AsUInt(def);
}

long ColumnText::AsTime(long def) const {
  long number = 0;
  return ReadPlain(text_, number) ? number : Field(std::string(text_)).AsTime(def);
}

}  // namespace VEXO::sharing::db
