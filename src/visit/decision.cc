#include "visit/decision.h"

#include <syslog.h>
#include <vexo/autoblock.h>
#include <vexo/cgi.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <thread>
#include <utility>

#include "base/hold_signals.h"
#include "base/wipe.h"
#include "c/link_state.h"
#include "entry_db.h"
#include "session_db.h"
#include "sharing_db.h"
#include "sharinglogin.h"
#include "token_db.h"
#include "visit/address_block.h"
#include "visit/attempt_store.h"
#include "visit/cookie.h"
#include "visit/link_lock.h"
#include "visit/same_site.h"

namespace VEXO::sharing {
namespace {

using db::EntryDB;
using db::SessionDB;
using db::SharingDB;
using db::TokenDB;
using record::Entry;
using record::Session;

const char kBlockService[] = "SHARING";  // as in src/login/sharinglogin.cc
constexpr int kGuessesPerLink = 30;
constexpr std::chrono::seconds kLockTimeout(10);
constexpr std::chrono::seconds kGuessTimeout(1);
constexpr std::chrono::milliseconds kGuessPause(100);
constexpr long kRetrySeconds = 10;  // after a failure
constexpr long kRetrySecondsWhenBusy = 3;
constexpr size_t kAddressSize = 65;  // as in src/login/sharinglogin.cc

enum class Task { kShow, kLogIn, kLogOut };

Task TaskOf(const VisitRequest& request) {
  if (request.method != "POST") return Task::kShow;
  if (request.action.empty() || request.action == "login") return Task::kLogIn;
  return request.action == "logout" ? Task::kLogOut : Task::kShow;
}

enum class Lookup { kAvailable, kEarly, kMissing, kFailed };

Lookup LookupFailed() {
  syslog(LOG_ERR, "visit: cannot look up a link: %s",
         SharingDB::Instance().GetLastError().c_str());
  return Lookup::kFailed;
}

bool IsUseLimitReached(const Entry& link) {
  return StateOfLink(link, time(nullptr)) == SHARING_LINK_USE_LIMIT_REACHED;
}

/// Whether the link is announced: it is usable except that it has not started, and its
/// data asks for it.
bool IsAnnounced(const Entry& link) {
  if (StateOfLink(link, time(nullptr)) != SHARING_LINK_NOT_STARTED ||
      StateOfLink(link, link.get_start_at()) != SHARING_LINK_USABLE) {
    return false;
  }
  const Json::Value app = link.get_app();
  return app.isObject() && app["announce"].isBool() && app["announce"].asBool();
}

/// Whether a session has no token for a link.  The check of the session answers so, too,
/// when its lookup failed.
bool IsLoggedOut(const Entry& link, const std::string& session_id) {
  SharingDB& database = SharingDB::Instance();
  const SessionDB sessions(database);
  Session session;
  int count = 0;
  if (!sessions.GetBySessionId(session_id, session) && session.get_id() == 0) {
    sessions.GetCondition().Where(SZK_SESSION_ID_, session_id);
    return sessions.Count(count) && count == 0;
  }
  const TokenDB tokens(database);
  tokens.GetCondition().Where(SZK_SESSION_ID_, std::to_string(session.get_id()));
  tokens.GetCondition().Where(SZK_ENTRY_ID, std::to_string(link.get_id()));
  return tokens.Count(count) && count == 0;
}

class Decision {
 public:
  Decision(const VisitRequest& request, const std::string& folder)
      : request_(request), folder_(folder), task_(TaskOf(request)) {}

  VisitAnswer Make();

 private:
  enum class Inside { kYes, kNo, kFailed };

  Lookup Find();
  Inside CheckSession();

  VisitAnswer AnswerInside();
  VisitAnswer AnswerMissing();
  VisitAnswer AnswerEarly() const;
  VisitAnswer AnswerOutside();
  VisitAnswer LogIn();
  AttemptStore::Attempt BeginGuess(AttemptStore& attempts) const;
  VisitAnswer AnswerLogin(const std::string& session_id);
  VisitAnswer LogOut();

  VisitAnswer WithoutLink(VexoSharingVisitOutcome outcome, long retry_after = 0) const;
  VisitAnswer WithLink(VexoSharingVisitOutcome outcome) const;
  VisitAnswer TryLater() const;
  VisitAnswer Blocked(long seconds) const;
  VisitAnswer Form(VexoSharingVisitProblem problem) const;
  VexoSharingVisitProblem EmptyField() const;

  const VisitRequest& request_;
  const std::string& folder_;
  const Task task_;
  std::string address_;
  Entry link_;
  int result_ = 0;
};

VisitAnswer Decision::Make() {
  char address[kAddressSize] = {};
  if (VexoCgiGetRemoteIP(address, sizeof(address)) == -1) {
    syslog(LOG_ERR, "visit: the request has no address");
    return TryLater();
  }
  address_ = address;

  const Lookup lookup = Find();
  if (lookup == Lookup::kFailed) return TryLater();
  bool available = lookup == Lookup::kAvailable;
  if (available && IsCookieValue(request_.session_id)) {
    const Inside inside = CheckSession();
    if (inside == Inside::kFailed) return TryLater();
    if (inside == Inside::kYes) return AnswerInside();
    // It may have been disabled since it was read.
    available = result_ != SHARING_CHECK_LINK_NOT_VALID || IsUseLimitReached(link_);
  }
  const long seconds = SecondsBlocked(address_);
  if (seconds > 0) return Blocked(seconds);
  if (lookup == Lookup::kEarly) return AnswerEarly();
  return available ? AnswerOutside() : AnswerMissing();
}

/// Finds the link.  Those of other applications and damaged ones are missing, too.
Lookup Decision::Find() {
  SharingDB& database = SharingDB::Instance();
  if (!database.IsGood()) return LookupFailed();
  const std::string hash = database.Escape(request_.hash);
  const std::string project = database.Escape(request_.project);
  if (hash.empty() != request_.hash.empty() ||
      project.empty() != request_.project.empty()) {
    return LookupFailed();
  }
  // Whether those who have logged in can use the link.  Statements that read no more than
  // the columns decide: all links that are missing must cost the same time.
  const EntryDB links(database);
  const std::string now = std::to_string(time(nullptr));
  const std::string enabled =
      "hash = '" + hash + "' AND project_name = '" + project + "' AND enabled = 1 AND ";
  links.GetCondition().Where(enabled + "start_at <= " + now +
                             " AND (expire_at <= 0 OR expire_at >= " + now + ")");
  int count = 0;
  if (!links.Count(count)) return LookupFailed();
  const bool available = count != 0;
  if (!available) {
    // Or can be used later, and may be announced.
    links.GetCondition().Clear();
    links.GetCondition().Where(enabled + "start_at > " + now +
                               " AND (expire_at <= 0 OR expire_at >= start_at)"
                               " AND data LIKE '%announce%'");
    if (!links.Count(count)) return LookupFailed();
    if (count == 0) return Lookup::kMissing;
  }
  Entry link;
  if (!links.GetByHash(request_.hash, link)) {
    return link.get_id() == 0 ? LookupFailed() : Lookup::kMissing;
  }
  if (link.get_hash() != request_.hash || link.get_project_name() != request_.project) {
    return Lookup::kMissing;  // SQL text ends at a NUL
  }
  if (!available && !IsAnnounced(link)) return Lookup::kMissing;
  link_ = std::move(link);
  return available ? Lookup::kAvailable : Lookup::kEarly;
}

Decision::Inside Decision::CheckSession() {
  _tag_sharing_login_params visitor = {};
  visitor.hash = request_.hash.c_str();
  visitor.session_id = request_.session_id.c_str();
  result_ = VEXO::VexoSharingIsAuthorized(&visitor);
  switch (result_) {
    case SHARING_CHECK_SUCCESS:
      return Inside::kYes;
    case SHARING_CHECK_GENERAL_FAILURE:
      return Inside::kFailed;
    case SHARING_CHECK_NO_SESSION:
    case SHARING_CHECK_NO_TOKEN:
      return IsLoggedOut(link_, request_.session_id) ? Inside::kNo : Inside::kFailed;
    default:
      return Inside::kNo;
  }
}

VisitAnswer Decision::AnswerInside() {
  if (task_ == Task::kLogOut) return LogOut();
  VisitAnswer answer =
      WithLink(task_ == Task::kLogIn ? SHARING_VISIT_LOGGED_IN : SHARING_VISIT_CONTENT);
  answer.has_session = true;
  return answer;
}

/// All links that are missing take the same steps: absent ones, those of another
/// application, and those that are disabled, not started or expired.
VisitAnswer Decision::AnswerMissing() {
  AttemptStore attempts(folder_);
  const AttemptStore::Attempt attempt =
      attempts.Add("missing " + BlockingKey(address_) + " " + request_.hash, 1);
  // Visitors who share an address and a dead link must not block each other.
  if (attempt.result == AttemptStore::Result::kLimitReached) {
    return WithoutLink(SHARING_VISIT_MISSING);
  }
  if (AutoBlockFailLoginSet(address_.c_str(), kBlockService) != 0) {
    if (attempt.result == AttemptStore::Result::kAdded) attempts.Remove(attempt.id);
    return TryLater();  // it would be a free guess
  }
  return WithoutLink(SHARING_VISIT_MISSING);
}

VisitAnswer Decision::AnswerEarly() const {
  VisitAnswer answer = WithLink(SHARING_VISIT_EARLY);
  answer.retry_after = std::max(1L, link_.get_start_at() - time(nullptr));
  return answer;
}

VisitAnswer Decision::AnswerOutside() {
  if (task_ == Task::kLogOut) return LogOut();
  if (IsUseLimitReached(link_)) return WithLink(SHARING_VISIT_USED_UP);
  if (!NeedsLogin(link_)) {
    return WithLink(task_ == Task::kLogIn ? SHARING_VISIT_LOGGED_IN
                                          : SHARING_VISIT_CONTENT);
  }
  return task_ == Task::kLogIn ? LogIn() : Form(SHARING_VISIT_NO_PROBLEM);
}

VisitAnswer Decision::LogIn() {
  const VexoSharingVisitProblem problem = EmptyField();
  if (problem != SHARING_VISIT_NO_PROBLEM) return Form(problem);
  if (!CanSetCookie(request_)) {
    syslog(LOG_ERR, "visit: the name or the path of the cookie cannot be sent");
    return TryLater();
  }
  LinkLock lock;
  if (IsUseLimited(link_) && !lock.Take(folder_, request_.hash, kLockTimeout)) {
    return TryLater();
  }

  // The guess is counted before it is made: many at the same moment are not free.  The
  // process does not end in between: to close the connection is not free, either.
  AttemptStore attempts(folder_);
  AttemptStore::Attempt guess;
  const VEXO::base::HoldSignals hold;
  if (IsProtected(link_)) {
    guess = BeginGuess(attempts);
    if (guess.result == AttemptStore::Result::kFailed) return TryLater();
    if (guess.result == AttemptStore::Result::kBusy) {
      return WithoutLink(SHARING_VISIT_TRY_LATER, kRetrySecondsWhenBusy);
    }
    if (guess.result == AttemptStore::Result::kLimitReached) {
      return Blocked(guess.seconds_left);
    }
  }
  _tag_sharing_login_params visitor = {};
  visitor.hash = request_.hash.c_str();
  if (link_.get_protect_type() == Entry::PROTECT_USER) {
    visitor.username = request_.username.c_str();
    visitor.user_password = request_.password.c_str();
  } else {
    visitor.password = request_.password.c_str();
  }
  // No session_id: a new session prevents session fixation.
  std::string session_id;
  result_ = VEXO::VexoSharingLogin(session_id, &visitor, false);
  const bool wrong =
      result_ == SHARING_LOGIN_WRONG_PASSWORD || result_ == SHARING_LOGIN_REFUSED;
  if (guess.result == AttemptStore::Result::kAdded) {
    wrong ? attempts.MarkFailed(guess.id) : attempts.Remove(guess.id);
  }
  VisitAnswer answer = AnswerLogin(session_id);
  base::Wipe(&session_id);
  return answer;
}

/// Waits a moment while too many others log in.
AttemptStore::Attempt Decision::BeginGuess(AttemptStore& attempts) const {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point end = Clock::now() + kGuessTimeout;
  for (;;) {
    const AttemptStore::Attempt guess =
        attempts.Begin("guess " + request_.hash, kGuessesPerLink);
    if (guess.result != AttemptStore::Result::kBusy || Clock::now() >= end) return guess;
    std::this_thread::sleep_for(kGuessPause);
  }
}

VisitAnswer Decision::AnswerLogin(const std::string& session_id) {
  switch (result_) {
    case SHARING_LOGIN_SUCCESS: {
      VisitAnswer answer = WithLink(SHARING_VISIT_LOGGED_IN);
      answer.has_session = true;
      answer.set_cookie = SessionCookie(request_, session_id);
      return answer;
    }
    case SHARING_LOGIN_WRONG_PASSWORD:
      return Form(SHARING_VISIT_PASSWORD_WRONG);
    case SHARING_LOGIN_REFUSED:
      return Form(SHARING_VISIT_CREDENTIALS_WRONG);
    case SHARING_LOGIN_USER_NOT_ADMITTED: {
      VisitAnswer answer = WithLink(SHARING_VISIT_REFUSED);
      answer.problem = SHARING_VISIT_USER_NOT_ADMITTED;
      return answer;
    }
    case SHARING_LOGIN_USES_EXHAUSTED:
      return WithLink(SHARING_VISIT_USED_UP);
    case SHARING_LOGIN_ADDRESS_BLOCKED: {
      const long seconds = SecondsBlocked(address_);
      return seconds > 0 ? Blocked(seconds) : TryLater();
    }
    case SHARING_LOGIN_NO_USABLE_LINK: {  // also when a lookup of the login failed
      const Lookup lookup = Find();
      if (lookup == Lookup::kEarly) return AnswerEarly();
      return lookup == Lookup::kMissing ? AnswerMissing() : TryLater();
    }
    default:
      return TryLater();
  }
}

VisitAnswer Decision::LogOut() {
  // Without a token there is nothing to delete.
  if (result_ != 0 && result_ != SHARING_CHECK_NO_SESSION &&
      result_ != SHARING_CHECK_NO_TOKEN) {
    VEXO::VexoSharingLogout(request_.hash, request_.session_id);
  }
  return WithLink(SHARING_VISIT_LOGGED_OUT);
}

VisitAnswer Decision::WithoutLink(VexoSharingVisitOutcome outcome,
                                  long retry_after) const {
  VisitAnswer answer;
  answer.outcome = outcome;
  answer.result = result_;
  answer.retry_after = retry_after;
  return answer;
}

VisitAnswer Decision::WithLink(VexoSharingVisitOutcome outcome) const {
  VisitAnswer answer = WithoutLink(outcome);
  answer.link = link_;
  return answer;
}

VisitAnswer Decision::TryLater() const {
  return WithoutLink(SHARING_VISIT_TRY_LATER, kRetrySeconds);
}

VisitAnswer Decision::Blocked(long seconds) const {
  return WithoutLink(SHARING_VISIT_BLOCKED, seconds);
}

VisitAnswer Decision::Form(VexoSharingVisitProblem problem) const {
  VisitAnswer answer =
      WithLink(IsProtected(link_) ? SHARING_VISIT_LOGIN : SHARING_VISIT_OPEN);
  answer.problem = problem;
  return answer;
}

VexoSharingVisitProblem Decision::EmptyField() const {
  if (!IsProtected(link_)) return SHARING_VISIT_NO_PROBLEM;
  if (link_.get_protect_type() == Entry::PROTECT_USER && request_.username.empty()) {
    return SHARING_VISIT_USERNAME_EMPTY;
  }
  return request_.password.empty() ? SHARING_VISIT_PASSWORD_EMPTY
                                   : SHARING_VISIT_NO_PROBLEM;
}

}  // namespace

VisitAnswer Decide(const VisitRequest& request, const std::string& folder) {
  VisitAnswer answer;
  if (request.method != "GET" && request.method != "HEAD" && request.method != "POST") {
    answer.outcome = SHARING_VISIT_BAD_METHOD;
    return answer;
  }
  if (request.method == "POST" && IsCrossSite(request)) {
    answer.outcome = SHARING_VISIT_REFUSED;
    answer.problem = SHARING_VISIT_CROSS_SITE;
    return answer;
  }
  answer = Decision(request, folder).Make();
  // Whatever became of the link or its session: this browser keeps nothing.
  if (TaskOf(request) == Task::kLogOut) answer.set_cookie = DeletedCookie(request);
  return answer;
}

}  // namespace VEXO::sharing
