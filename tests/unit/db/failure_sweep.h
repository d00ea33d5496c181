#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "fake_platform.h"
#include "log_capture.h"
#include "store_test.h"

namespace VEXO::sharing::db {

/// The calls that can fail, which Platform::FailCall counts.
inline Calls CountedCalls(const Calls& calls) {
  static const std::set<std::string> kNeverFail = {"VLIBCFileExist",
                                                   "VLIBCPclose",
                                                   "VexoCgiLoadInCookies",
                                                   "VexoCgiGetRequestParam",
                                                   "VexoCgiIsDeniedIP",
                                                   "VexoCgiFree",
                                                   "VEXODBFetchField",
                                                   "VEXODBErrorGet",
                                                   "VEXODBFreeResult",
                                                   "VEXODBClose",
                                                   "VEXODBSqliteHandle",
                                                   "VEXOUserFree",
                                                   "VEXOGroupFree",
                                                   "VLIBHashFree",
                                                   "random"};
  Calls counted;
  for (const std::string& call : calls) {
    if (kNeverFail.count(call.substr(0, call.find('('))) == 0) {
      counted.push_back(call);
    }
  }
  return counted;
}

/// One attempt of a sweep: a new platform with one call that fails.
class Failure {
 public:
  /// `usual` are the counted calls of an attempt without a failure.
  Failure(int number, const Calls& usual) : number_(number), usual_(usual) {
    platform.ids = kCaller;
  }

  fakes::Platform platform;
  fakes::LogCapture log;

  /// Starts counting calls.
  void Arm() {
    platform.ForgetCalls();
    platform.FailCall(number_);
  }

  bool happened() const { return platform.injected(); }

  bool Logged(const std::string& part) const {
    const Calls& lines = log.lines();
    return std::any_of(lines.begin(), lines.end(), [&part](const std::string& line) {
      return line.find(part) != std::string::npos;
    });
  }

  /// Whether the call that failed was one of this function.
  bool IsOf(const std::string& function) const {
    return happened() && usual_[number_ - 1].find(function + "(") == 0;
  }

  /// Whether the failure concerned an SQL text that begins with `begin`: running it,
  /// escaping one of its values, switching the account for it, or reading its rows.
  bool Concerns(const std::string& begin) const {
    return happened() && Statement().find("VEXODBExecute(" + begin) == 0;
  }

  /// Whether the caller's ids could not be restored.
  bool IsOfLeaving() const { return Logged("ERROR: ~IF_RUN_AS("); }

 private:
  std::string Statement() const {
    const auto is_statement = [](const std::string& call) {
      return call.find("VEXODBExecute(") == 0;
    };
    const auto failed = usual_.begin() + (number_ - 1);
    if (IsOf("VEXODBFetchRow") || IsOfLeaving()) {
      return *std::find_if(std::make_reverse_iterator(failed), usual_.rend(),
                           is_statement);
    }
    const auto found = std::find_if(failed, usual_.end(), is_statement);
    return found == usual_.end() ? "" : *found;
  }

  const int number_;
  const Calls& usual_;
};

/// Whether the operation of a store may succeed although a call failed: the ids could not
/// be restored, or the checkpoint at the end of the store failed.
inline bool IsUnseen(const Failure& failure) {
  return !failure.happened() || failure.IsOfLeaving() ||
         failure.Concerns("PRAGMA wal_checkpoint;");
}

/// Runs `attempt` without a failure, and then once for each call of the platform, which
/// fails.  Each time the ids of the caller must be restored, and no object of the
/// platform may leak.
inline void SweepFailures(const std::function<void(Failure&)>& attempt) {
  Calls usual;
  {
    Failure none(0, usual);
    attempt(none);
    usual = CountedCalls(none.platform.calls());
  }
  ASSERT_FALSE(usual.empty());
  for (int number = 1;; ++number) {
    const bool more = number <= static_cast<int>(usual.size());
    SCOPED_TRACE(
        "call " + std::to_string(number) + " of " + std::to_string(usual.size()) +
        " fails: " + (more ? usual[number - 1].substr(0, 200) : std::string("none")));
    Failure failure(number, usual);
    attempt(failure);
    ASSERT_EQ(more, failure.happened());
    if (!failure.IsOfLeaving()) {
      EXPECT_EQ(kCaller.euid, failure.platform.ids.euid);
      EXPECT_EQ(kCaller.egid, failure.platform.ids.egid);
    }
    EXPECT_EQ(kCaller.uid, failure.platform.ids.uid);
    EXPECT_EQ(kCaller.gid, failure.platform.ids.gid);
    if (!more) return;
  }
}

}  // namespace VEXO::sharing::db
