#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "database.h"
#include "faults.h"
#include "journal.h"

namespace storm {

/// What the database must hold, from the journals of all processes.  An operation without
/// an answer, or with a wrong one, may have happened or not, in parts too.
class Model {
 public:
  /// Adds the journal of one process.
  void Replay(const std::string& path);

  /// Adds whatever differs.  To be called once everything has ended and what has expired
  /// has been purged.
  void Compare(const Tables& tables, Faults& faults) const;
  /// The same for the failed logins that are counted of each address.
  void CompareFailures(const std::map<std::string, long>& found, Faults& faults) const;

 private:
  enum class Presence { kNo, kMaybe, kYes };
  struct Link {
    int id = 0;
    unsigned int owner = 0;
    int limit = 0;
    bool auto_gc = true;
    Presence presence = Presence::kYes;
    long fewest_uses = 0;
    long most_uses = 0;
    std::set<std::string> titles = {""};  // one of them
  };
  struct Session {
    Presence presence = Presence::kYes;
    std::map<std::string, Presence> tokens;  // by the link's hash
  };
  struct Range {
    long least = 0;
    long most = 0;
  };
  /// What one process made.
  struct Own {
    std::set<std::string> links;
    std::set<std::string> sessions;
  };
  class Comparison;

  void Apply(const Step& step, Own& own);
  void LogIn(const Operation& operation, const Answer* answer, Own& own);
  void Purge(bool done, const Own& own);
  void RemoveTokens(const std::string& link, bool done, const Own& own);

  static void Remove(Presence& presence, bool done);
  /// Whether the purge of anybody may delete the link, sooner or later.
  static bool MayBePurged(const Link& link);

  std::map<std::string, Link> links_;        // by hash
  std::map<std::string, Session> sessions_;  // by id
  std::map<std::string, Range> failures_;    // by address
  // By owner, links that may have been made without anybody having been told.
  std::map<unsigned int, long> untold_links_;
  long untold_sessions_ = 0;
};

}  // namespace storm
