#pragma once

#include <sqlite3.h>

/// Counts the steps of compiling statements on a connection, which must not be closed
/// before this object ends.  Statements that are prepared already are compiled again once
/// after it begins.
class Compilations {
 public:
  explicit Compilations(sqlite3* connection) : connection_(connection) {
    sqlite3_set_authorizer(connection_, OnAction, &count_);
  }
  ~Compilations() { sqlite3_set_authorizer(connection_, nullptr, nullptr); }
  Compilations(const Compilations&) = delete;
  Compilations& operator=(const Compilations&) = delete;

  /// 0 when nothing has been compiled.
  int count() const { return count_; }
  void Clear() { count_ = 0; }

 private:
  static int OnAction(void* count, int /*action*/, const char* /*first*/,
                      const char* /*second*/, const char* /*database*/,
                      const char* /*trigger*/) {
    ++*static_cast<int*>(count);
    return SQLITE_OK;
  }

  sqlite3* const connection_;
  int count_ = 0;
};
