#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "database.h"
#include "faults.h"
#include "journal.h"

namespace storm {

/// The expected content of the database, computed from the journals of all processes.  An
/// operation with no answer or a wrong one may have taken effect fully, partly or not at
/// all.
class Model {
 public:
  /// Adds the journal of one process.
  void Replay(const std::string& path);

  /// Adds a fault for every difference.  Call it after all processes have ended and
  /// expired rows have been purged.
  void Compare(const Tables& tables, Faults& faults) const;
  /// The same for the counts of failed logins, by address.
  void CompareFailures(const std::map<std::string, long>& found, Faults& faults) const;

 private:
  enum class Presence { kNo, kMaybe, kYes };
  struct Link {
    int id = 0;
    unsigned int owner = 0;
    int limit = 0;
    bool auto_gc = true;
    Presence presence = Presence::kYes;
    long min_uses = 0;
    long max_uses = 0;
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
  /// Whether another process's purge may have deleted the link.
  static bool MayBePurged(const Link& link);

  std::map<std::string, Link> links_;        // by hash
  std::map<std::string, Session> sessions_;  // by id
  std::map<std::string, Range> failures_;    // by address
  // By owner: create operations without an answer, whose links may exist.
  std::map<unsigned int, long> unconfirmed_links_;
  long unconfirmed_sessions_ = 0;
};

}  // namespace storm
