#pragma once

#include <sstream>
#include <string>

#include "keys.h"

struct DBResult_tag;

namespace VEXO::sharing::db {

/// Text of one column, with conversions.  Convert a field once: a second numeric
/// conversion of the same object may answer the default.  Results, rows and fields are
/// for the thread that uses their database.
class SHARING_EXPORT Field {
 public:
  explicit Field(const std::string& text);
  virtual ~Field();

  /// The longest numeric prefix, blanks before it skipped; `def` when there is none or it
  /// does not fit.  A negative number wraps in AsUInt.
  int AsInt(int def);
  unsigned int AsUInt(unsigned int def);
  /// Seconds since the epoch.
  long AsTime(long def);
  float AsFloat(float def);
  /// True for the text "1" alone; `def` is never used.
  bool AsBool(bool def);
  /// The text itself, owned by the field; `def` is never used.
  const std::string& AsString(const std::string& def);

  /// Puts the text into the conversion stream again; the stream's error state stays.
  void Clear();

 private:
  std::string text_;
  std::stringstream stream_;
};

/// One row of a result.  It must not outlive the Result that filled it.
class SHARING_EXPORT Row {
 public:
  Row();
  Row(DBResult_tag* handle, unsigned int row);
  virtual ~Row();

  bool IsGood() const;
  void SetResult(DBResult_tag* handle);
  void SetRow(unsigned int row);

  /// The named column; an empty field when the row is not good.  Throws std::logic_error
  /// when the result has no such column.
  Field GetField(const std::string& column) const;

 private:
  DBResult_tag* handle_ = nullptr;
  unsigned int row_ = 0;
};

/// What a query returned: owns the platform's result and walks its rows once.
class SHARING_EXPORT Result {
 public:
  Result();
  /// Takes ownership of `handle`.
  explicit Result(DBResult_tag* handle);
  virtual ~Result();
  Result(const Result&) = delete;
  Result& operator=(const Result&) = delete;

  bool IsGood() const;
  /// Takes ownership of `handle`; the one held before is not released, so a result is
  /// given a handle once.
  void SetResult(DBResult_tag* handle);
  /// Points `row` at the next row; false, with `row` as it was, when there is none.
  bool NextRow(Row& row);

 private:
  unsigned int cursor_ = 0;
  DBResult_tag* handle_ = nullptr;
};

}  // namespace VEXO::sharing::db
