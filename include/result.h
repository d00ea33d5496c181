#pragma once

#include <sstream>
#include <string>

#include "keys.h"

struct DBResult_tag;

namespace VEXO::sharing::db {

/// The text of one column, with conversions.
///
/// Convert a field once: a second numeric conversion of the same object may return the
/// default.  Results, rows and fields must not be used by two threads at once.
class SHARING_EXPORT Field {
 public:
  /// @param text  the column's text
  explicit Field(const std::string& text);
  virtual ~Field();

  /// The number at the beginning of the text, after any blanks.  Text after the number is
  /// ignored.
  ///
  /// @param def  result when the text does not begin with a number, or the number does
  ///             not fit
  int AsInt(int def);
  /// As AsInt, unsigned.  A negative number wraps around.
  unsigned int AsUInt(unsigned int def);
  /// As AsInt, in seconds since the epoch.
  long AsTime(long def);
  /// As AsInt, with a fraction.
  float AsFloat(float def);
  /// True only for the text "1".
  ///
  /// @param def  not used
  bool AsBool(bool def);
  /// The text itself; the field owns it.
  ///
  /// @param def  not used
  const std::string& AsString(const std::string& def);

  /// Puts the text into the conversion stream again.  The stream keeps its error state.
  void Clear();

 private:
  std::string text_;
  std::stringstream stream_;
};

/// One row of a result.  It must not outlive the Result that filled it.
class SHARING_EXPORT Row {
 public:
  /// Creates a row that is not good.
  Row();
  /// @param handle  a result of the platform; not owned
  /// @param row     number of the row
  Row(DBResult_tag* handle, unsigned int row);
  virtual ~Row();

  /// Whether the row belongs to a result.
  bool IsGood() const;
  /// Sets the result, which the row does not own.
  void SetResult(DBResult_tag* handle);
  /// Sets the number of the row.
  void SetRow(unsigned int row);

  /// Reads a column.
  ///
  /// @return the column; an empty field when the row is not good
  /// @throws std::logic_error  when the result has no such column
  Field GetField(const std::string& column) const;

 private:
  friend class ColumnText;

  DBResult_tag* handle_ = nullptr;
  unsigned int row_ = 0;
};

/// What a query returned: the rows, which can be read once, in order.
class SHARING_EXPORT Result {
 public:
  /// Creates a result that is not good.
  Result();
  /// @param handle  a result of the platform; owned from now on
  explicit Result(DBResult_tag* handle);
  /// Releases the rows.
  virtual ~Result();
  Result(const Result&) = delete;
  Result& operator=(const Result&) = delete;

  /// Whether there is a result, with or without rows.
  bool IsGood() const;
  /// Takes ownership of a result of the platform.  One that the object already has is not
  /// released, so call this once.
  void SetResult(DBResult_tag* handle);
  /// Reads the next row.
  ///
  /// @param[out] row  the row; unchanged when there is none
  /// @return false when there is no further row
  bool NextRow(Row& row);

 private:
  unsigned int cursor_ = 0;
  DBResult_tag* handle_ = nullptr;
};

}  // namespace VEXO::sharing::db
