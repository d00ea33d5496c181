#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "keys.h"
#include "object.h"

namespace VEXO::sharing::record {

class TokenPrivate;

/// The grant of one session to one link, with a deadline of its own.  A value type:
/// copies share nothing, and a record moved from can be used again.  Not for use by two
/// threads at once.
class SHARING_EXPORT Token {
 public:
  Token();
  virtual ~Token();
  Token(const Token& other);
  Token(Token&& other);  // allocates, so it is not noexcept
  Token& operator=(const Token& other);
  Token& operator=(Token&& other);

  /// The record as the stores take it; owned by this handle.
  Object* GetObject();
  const Object* GetCObject() const;

  /// Values of the stored columns in table order, without the id.
  std::vector<std::string> GetFieldList() const;
  std::map<std::string, std::string> GetFieldMap() const;

  /// Whether the record may be stored: link and session set, deadline ahead.  Logs the
  /// reason why not.
  bool IsLegal() const;
  /// Sets the record's members in `out` and leaves the others; the row id is not written.
  /// What is no object is replaced by one.
  void ToJSON(Json::Value& out) const;
  /// Fills the record from a row of the table "token"; false for an expired one.
  bool FromRow(const db::Row& row);

  int get_id() const;
  void set_id(int id);
  /// Row id of the link.
  int get_entry_id() const;
  void set_entry_id(int entry_id);
  /// Row id of the session, not the text that the visitor carries.
  int get_session_id() const;
  void set_session_id(int session_id);
  /// Seconds since the epoch.  Live while now < timeout; 0 is long past.
  long get_timeout() const;
  void set_timeout(long timeout);

 private:
  std::unique_ptr<TokenPrivate> d_;  // never null, not even when moved from
};

}  // namespace VEXO::sharing::record
