#pragma once

#include <sys/types.h>

#include <map>
#include <memory>
#include <string>

#include "lock_wait.h"

struct sqlite3;

namespace VEXO::platform {

/// The database of failed logins and blocked addresses.  Addresses are blocking keys
/// (Address::BlockingKey).  A function that returns false has logged why and leaves EIO
/// in errno.
///
/// Times that lie in the future were stored before the clock was set back.  Such a
/// failure counts as one of now, and such a block begins again now: setting the clock
/// back neither lifts a block nor makes it longer than a block lasts.
class BlockStore {
 public:
  static const char* Path();

  bool Open();

  struct Counted {
    long failures = 0;     // inside the window, with this one
    bool blocked = false;  // whether they block the address now
  };
  /// Counts a failed login, in one transaction.
  bool Count(const std::string& address, const std::string& service, Counted* counted);

  /// Whether the address is blocked now.  Fails when it is not and a failed login could
  /// not be counted.  Waits for another process only while that one commits.
  bool IsBlocked(const std::string& address, bool* blocked);

  enum class Forget { kFailures, kFailuresAndBlock };
  bool Remove(const std::string& address, Forget what);

  struct Entry {
    long failures = 0;
    std::string service;
    long blocked_until = 0;
  };
  /// Adds each address that has failures inside the window or is blocked.
  bool List(std::map<std::string, Entry>* entries);

  /// Whether the last failure was that SQLite found the file damaged, or not a database.
  bool damaged() const { return damaged_; }
  bool IsIntact();

 private:
  struct Close {
    void operator()(sqlite3* connection) const;
  };

  bool BeginToWrite();
  bool Execute(const char* sql);
  bool Failed();
  bool HasTables(bool* filled);
  bool FindBlock(const std::string& address, bool* blocked, bool* set_back);
  bool CanCount(const std::string& address);
  bool AdjustToClock(long now);
  bool RemoveExpired(long now);
  bool AddFailure(const std::string& address, const std::string& service, long now);
  bool FindFailures(const std::string& address, long now, long* failures);
  bool Block(const std::string& address, const std::string& service, long now);
  bool Run(const char* sql, long now);

  // A signal to the program must neither block a visitor nor free a wrong guess.
  LockWait wait_{LockWait::Signals::kIgnored};
  std::unique_ptr<sqlite3, Close> connection_;  // points to wait_
  bool damaged_ = false;
};

}  // namespace VEXO::platform
