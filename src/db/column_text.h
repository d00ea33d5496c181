#pragma once

#include <string>
#include <string_view>

namespace VEXO::sharing::db {

class Row;

/// The text of one column, with the conversions of Field but without the cost of its
/// stream: only a text that does not begin with a plain decimal number is passed to
/// Field.
class ColumnText {
 public:
  explicit ColumnText(std::string_view text) : text_(text) {}
  /// Reads a column, whose text belongs to the row's result.  A missing column, or one of
  /// a row that is not good, is an empty text.
  ColumnText(const Row& row, const char* column);

  int AsInt(int def) const;
  unsigned int AsUInt(unsigned int def) const;
  long AsTime(long def) const;
  bool AsBool(bool /*def*/) const { return text_ == "1"; }
  std::string_view AsString(std::string_view /*def*/) const { return text_; }

 private:
  std::string_view text_;
};

}  // namespace VEXO::sharing::db
