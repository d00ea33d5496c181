#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3_stmt;

/// The rows of a statement, as texts in one block of memory.
struct DBResult_tag {
 public:
  /// Steps through `statement`.  When it has columns, its rows replace those held so far.
  /// Returns an SQLite result code; after a failure some of the rows may be there.
  int Collect(sqlite3_stmt* statement);
  /// Replaces everything by one row of numbers.
  void SetRow(std::initializer_list<const char*> columns,
              std::initializer_list<int> numbers);

  /// The number of the next row, counted from 0; false when there are no more.
  bool NextRow(unsigned int* row);
  /// Text of a column; null when there is no such column or row.
  const char* Field(unsigned int row, const char* column) const;

 private:
  std::size_t Rows() const;
  const char* Text(std::size_t index) const { return texts_.data() + begins_[index]; }
  void Clear(std::size_t width);
  void Append(std::string_view text);
  void AppendNumber(long long number);
  int AppendValue(sqlite3_stmt* statement, int column);

  std::size_t width_ = 0;            // columns
  std::string texts_;                // each with a terminating 0
  std::vector<std::size_t> begins_;  // in texts_: of the names, and of the values by row
  unsigned int next_ = 0;            // row
};
