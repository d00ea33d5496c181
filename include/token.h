#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "keys.h"
#include "object.h"

namespace VEXO::sharing::record {

class TokenPrivate;

/// The right of one session to use one link, with its own deadline.
///
/// A value type.  An object must not be used by two threads at once.
class SHARING_EXPORT Token {
 public:
  /// Creates an empty token, which is not legal.
  Token();
  virtual ~Token();
  /// Copies the record; nothing is shared.
  Token(const Token& other);
  /// Takes the record's values over; `other` can be used again.  Allocates.
  Token(Token&& other);
  Token& operator=(const Token& other);
  Token& operator=(Token&& other);

  /// The record as a store takes it; this object owns it.
  Object* GetObject();
  /// As above, read-only.
  const Object* GetCObject() const;

  /// Values of the stored columns in table order, without the id.
  std::vector<std::string> GetFieldList() const;
  /// The same values by column name.
  std::map<std::string, std::string> GetFieldMap() const;

  /// Whether the token may be stored: link and session are set, and the deadline is in
  /// the future.  When it may not, the reason is logged.
  bool IsLegal() const;
  /// Sets the record's members, all but the row id, in `out`, and keeps its other
  /// members. A value that is not an object is replaced.
  void ToJSON(Json::Value& out) const;
  /// Fills the token from a row of the table "token".
  ///
  /// @return whether the token is legal; false for an expired token
  bool FromRow(const db::Row& row);

  /// Row id; 0 until the token has been stored or read.
  int get_id() const;
  void set_id(int id);
  /// Row id of the link.
  int get_entry_id() const;
  void set_entry_id(int entry_id);
  /// Row id of the session.  It is not the random id that the visitor carries.
  int get_session_id() const;
  void set_session_id(int session_id);
  /// Deadline in seconds since the epoch.  The token is legal while now < timeout.
  long get_timeout() const;
  void set_timeout(long timeout);

 private:
  std::unique_ptr<TokenPrivate> d_;  // never null, not even when moved from
};

}  // namespace VEXO::sharing::record
