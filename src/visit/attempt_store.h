#pragma once

#include <string>

namespace VEXO::sharing {

/// Counts attempts for all processes: guesses of a link's password, and visits of an
/// address to a link that is missing.  An attempt counts for five minutes.
///
/// The counts are in a small database, which contains neither hashes nor addresses.  A
/// damaged one is deleted, with a line in the log.  Of the failures of a process, the
/// first is logged.
class AttemptStore {
 public:
  /// @param folder  the folder of the database; root creates a missing one
  explicit AttemptStore(std::string folder);

  enum class Result { kAdded, kLimitReached, kFailed };
  struct Attempt {
    Result result = Result::kFailed;
    long id = 0;
    /// For kLimitReached: seconds until the oldest attempt counts no longer.
    long seconds_left = 0;
  };
  /// Counts one attempt, unless the subject has `limit` attempts already.  Exact for
  /// processes that count at the same time.
  Attempt Add(const std::string& subject, int limit);

  /// Takes back an attempt that was added.
  void Remove(long id);

 private:
  std::string folder_;
};

}  // namespace VEXO::sharing
