#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "keys.h"
#include "object.h"

namespace VEXO::sharing::record {

class SessionPrivate;

/// One visitor's login: a random id that the visitor carries, the user and the address
/// behind it, and a deadline.  A value type: copies share nothing, and a record moved
/// from can be used again.  Not for use by two threads at once.
class SHARING_EXPORT Session {
 public:
  Session();
  virtual ~Session();
  Session(const Session& other);
  Session(Session&& other);  // allocates, so it is not noexcept
  Session& operator=(const Session& other);
  Session& operator=(Session&& other);

  /// The record as the stores take it; owned by this handle.
  Object* GetObject();
  const Object* GetCObject() const;

  /// Values of the stored columns in table order, without the id.
  std::vector<std::string> GetFieldList() const;
  std::map<std::string, std::string> GetFieldMap() const;

  /// Whether the record may be stored: id and address set, deadline ahead.  Logs the
  /// reason why not.
  bool IsLegal() const;
  /// Sets the record's members in `out` and leaves the others; the row id is not written.
  /// What is no object is replaced by one.
  void ToJSON(Json::Value& out) const;
  /// Fills the record from a row of the table "session"; false for an expired one.
  bool FromRow(const db::Row& row);

  int get_id() const;
  void set_id(int id);
  /// The visitor's secret, as opposed to the row id.
  std::string get_session_id() const;
  void set_session_id(const std::string& session_id);
  /// The user who logged in; UID_ERR for a visitor without an account.
  unsigned int get_uid() const;
  void set_uid(unsigned int uid);
  std::string get_ip() const;
  void set_ip(const std::string& ip);
  /// Seconds since the epoch.  Live while now < timeout; 0 is long past.
  long get_timeout() const;
  void set_timeout(long timeout);

 private:
  std::unique_ptr<SessionPrivate> d_;  // never null, not even when moved from
};

}  // namespace VEXO::sharing::record
