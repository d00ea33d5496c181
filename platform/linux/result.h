#pragma once

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3_stmt;
struct sqlite3_value;

namespace VEXO::platform {

using NameList = std::shared_ptr<const std::vector<std::string>>;

/// The column names of a statement, which its results share.
class ColumnNames {
 public:
  /// Call after the first step, which compiles the statement again when the schema has
  /// changed.  Null when memory runs out.
  const NameList& Of(sqlite3_stmt* statement);

 private:
  NameList names_;
  int compilation_ = 0;
};

}  // namespace VEXO::platform

/// The rows of a statement, as texts in one block of memory.
struct DBResult_tag {
 public:
  /// Runs `statement`.  If it has columns, its rows replace those held so far.  Returns
  /// an SQLite result code; after a failure some of the rows may be there.
  ///
  /// @param names  of this statement, kept from one run to the next
  int Collect(sqlite3_stmt* statement, VEXO::platform::ColumnNames* names);
  /// Replaces everything by one row of numbers.
  void SetRow(const VEXO::platform::NameList& names, std::initializer_list<int> numbers);

  /// The number of the next row, counted from 0; false when there are no more.
  bool NextRow(unsigned int* row);
  /// Text of a column; null when there is no such column or row.
  const char* Field(unsigned int row, const char* column) const;

 private:
  std::size_t Width() const { return names_ == nullptr ? 0 : names_->size(); }
  std::size_t Rows() const { return begins_.empty() ? 0 : begins_.size() / Width(); }
  void Clear(const VEXO::platform::NameList& names);
  char* Add(std::size_t size);
  void Grow(std::size_t kept);
  void AddText(std::string_view text);
  void AddNumber(long long number);
  int AddValue(sqlite3_stmt* statement, int column);

  VEXO::platform::NameList names_;
  std::unique_ptr<char[]> texts_;  // each with a terminating 0
  std::size_t capacity_ = 0;
  std::size_t used_ = 0;
  std::vector<std::size_t> begins_;  // of the values in texts_, by row
  unsigned int next_ = 0;            // row
};
