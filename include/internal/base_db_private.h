#pragma once

#include <map>
#include <string>
#include <vector>

#include "result.h"

struct VEXODB;

namespace VEXO::sharing::db {

/// The implementation of BaseDB.
class BaseDBPrivate {
 public:
  BaseDBPrivate(std::string path, unsigned int mode);
  virtual ~BaseDBPrivate();
  BaseDBPrivate(const BaseDBPrivate&) = delete;
  BaseDBPrivate& operator=(const BaseDBPrivate&) = delete;

  bool IsGood() const;
  bool IsRoot() const;
  bool MoveRootDB() const;
  bool Execute(const std::string& sql, Result* result);
  std::string GetLastError() const;
  std::string GetLastQuery() const;
  bool GetLastInsertId(int& id) const;
  bool InTransaction() const;
  bool Begin();
  bool Commit();
  std::string Escape(const std::string& text) const;
  bool ExecuteWALCheckPoint();
  bool Insert(const std::string& table, const std::vector<std::string>& values);
  bool Update(const std::string& table, const std::map<std::string, std::string>& columns,
              int id);
  bool Delete(const std::string& table, int id);

  /// Makes every later statement fail; each logs "db is not good.".
  void SetNotGood();

 private:
  /// Creates the file when it is missing.
  bool CreateFile(unsigned int mode) const;
  /// False, logged, when the process cannot run as the system account.  When the file
  /// cannot be opened, the result is true and `connection_` is null.
  bool Connect();
  /// Sets the connection's pragmas.
  bool Init();
  bool Run(const std::string& sql, DBResult_tag** handle);
  /// Appends what Escape returns.
  void AppendEscaped(const std::string& text, std::string& out) const;

  bool good_ = true;
  std::string path_;
  VEXODB* connection_ = nullptr;
  std::string last_error_;
  std::string last_query_;
};

}  // namespace VEXO::sharing::db
