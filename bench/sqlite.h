#pragma once

/// @file
/// SQLite for the benchmarks.  A failure ends the program: its figures would be wrong.

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string_view>

namespace bench {

/// A prepared statement.
class Statement {
 public:
  Statement(sqlite3* connection, const char* sql);

  /// Binds the values to the parameters, in order.  Texts must live until Reset.
  template <class... Values>
  Statement& Bind(const Values&... values) {
    int parameter = 0;
    (BindOne(++parameter, values), ...);
    return *this;
  }
  /// Runs the statement up to its next row; false when there is none.
  bool Step();
  void Reset();
  /// Runs a statement whose rows do not matter.
  void Run();

  std::int64_t Number(int column);
  /// Valid until the next step.
  std::string_view Text(int column);

 private:
  void BindOne(int parameter, std::int64_t value);
  void BindOne(int parameter, std::string_view value);

  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

struct CloseConnection {
  void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
};
using Connection = std::unique_ptr<sqlite3, CloseConnection>;

/// Opens a database file for writing, and creates it if `create` is true.
Connection Open(const char* path, bool create = false);

/// Runs statements that have no parameters and return no rows.
void Execute(sqlite3* connection, const char* sql);

/// Ends the program with the error of the connection.
[[noreturn]] void Fail(sqlite3* connection);

}  // namespace bench
