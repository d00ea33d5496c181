#pragma once

#include <string>

namespace VEXO::sharing {

/// Counts attempts for all processes: guesses of a link's password, and visits of an
/// address to a link that is missing.  A failed attempt counts for five minutes.  A
/// pending one counts until it is removed or has failed, but not longer than 30 seconds:
/// its process may have been killed.
///
/// The counts are in a small database, which contains neither hashes nor addresses.  A
/// damaged one is deleted, with a line in the log.  Of the failures of a process, the
/// first is logged.
class AttemptStore {
 public:
  /// @param folder  the folder of the database; root creates a missing one
  explicit AttemptStore(std::string folder);

  /// kLimitReached: so many attempts have failed.  kBusy: so many have failed or are
  /// pending.  kFailed: the database cannot be used.
  enum class Result { kAdded, kLimitReached, kBusy, kFailed };
  struct Attempt {
    Result result = Result::kFailed;
    long id = 0;
    /// For kLimitReached: seconds until the oldest failed attempt counts no longer.
    long seconds_left = 0;
  };
  /// Counts a pending attempt, unless the subject has `limit` attempts already.  Exact
  /// for processes that count at the same time.
  Attempt Begin(const std::string& subject, int limit);
  /// Counts an attempt that has failed, as Begin does.
  Attempt Add(const std::string& subject, int limit);

  /// A pending attempt has failed.
  void MarkFailed(long id);
  /// Takes back an attempt that was counted.
  void Remove(long id);

 private:
  Attempt Count(const std::string& subject, int limit, bool failed);
  void Run(const std::string& sql);

  std::string folder_;
};

}  // namespace VEXO::sharing
