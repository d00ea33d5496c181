#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "keys.h"
#include "object.h"

namespace VEXO::sharing::record {

class SessionPrivate;

/// One visitor's session: a random id that the visitor carries, the user and the address
/// of the login, and a deadline.
///
/// A value type.  An object must not be used by two threads at once.
class SHARING_EXPORT Session {
 public:
  /// Creates an empty session, which is not legal.
  Session();
  virtual ~Session();
  /// Copies the record; nothing is shared.
  Session(const Session& other);
  /// Takes the record's values over; `other` can be used again.  Allocates.
  Session(Session&& other);
  Session& operator=(const Session& other);
  Session& operator=(Session&& other);

  /// The record as a store takes it; this object owns it.
  Object* GetObject();
  /// As above, read-only.
  const Object* GetCObject() const;

  /// Values of the stored columns in table order, without the id.
  std::vector<std::string> GetFieldList() const;
  /// The same values by column name.
  std::map<std::string, std::string> GetFieldMap() const;

  /// Whether the session may be stored: id and address are set, and the deadline is in
  /// the future.  When it may not, the reason is logged.
  bool IsLegal() const;
  /// Sets the record's members, all but the row id, in `out`, and keeps its other
  /// members. A value that is not an object is replaced.
  void ToJSON(Json::Value& out) const;
  /// Fills the session from a row of the table "session".
  ///
  /// @return whether the session is legal; false for an expired session
  bool FromRow(const db::Row& row);

  /// Row id; 0 until the session has been stored or read.
  int get_id() const;
  void set_id(int id);
  /// The random id that the visitor carries, a secret.  It is not the row id.
  std::string get_session_id() const;
  void set_session_id(const std::string& session_id);
  /// User id of the login; UID_ERR for a visitor without an account.
  unsigned int get_uid() const;
  void set_uid(unsigned int uid);
  /// Address of the login, as text.
  std::string get_ip() const;
  void set_ip(const std::string& ip);
  /// Deadline in seconds since the epoch.  The session is legal while now < timeout.
  long get_timeout() const;
  void set_timeout(long timeout);

 private:
  std::unique_ptr<SessionPrivate> d_;  // never null, not even when moved from
};

}  // namespace VEXO::sharing::record
