#pragma once

/// @file
/// Decides what a web handler of links answers to a request, for C++ and C.  The
/// functions are those of the library vexosharing-visit (pkg-config: vexosharing-visit),
/// which uses the library vexosharing.
///
/// The handler passes what the visitor sent.  The library finds the link, checks that it
/// belongs to the handler's application, checks the visitor's session, logs the visitor
/// in or out on a POST, counts guesses, and returns what to answer.  Only a POST logs in,
/// so the GET and HEAD requests of robots use nothing up.
///
/// The library reads neither standard input nor the request in the environment, so a
/// process may serve one request after the other.  Only one thread at a time may call
/// these functions: they replace the environment and the effective ids of the process for
/// a moment.

#include "keys.h"

/// What to answer.  The number in parentheses is the HTTP status to send.
enum VexoSharingVisitOutcome {
  /// Serve what the link shares (200).
  SHARING_VISIT_CONTENT = 1,
  /// The visitor has logged in, or needs no login: redirect to the same URL (303).
  SHARING_VISIT_LOGGED_IN = 2,
  /// The visitor has logged out: redirect to the same URL (303).
  SHARING_VISIT_LOGGED_OUT = 3,
  /// Show the login form (401): a password, or a user name and a password.
  SHARING_VISIT_LOGIN = 4,
  /// Show a button that sends an empty form (401): the link is open, but counts uses.
  SHARING_VISIT_OPEN = 5,
  /// The visitor may not do this (403).
  SHARING_VISIT_REFUSED = 6,
  /// No such link of this application, or it cannot be used now (404).  Do not say which.
  SHARING_VISIT_MISSING = 7,
  /// The use limit is reached (410).
  SHARING_VISIT_USED_UP = 8,
  /// The address, or every login to this link, is blocked for a while (429).
  SHARING_VISIT_BLOCKED = 9,
  /// The database or another service failed, or many visitors are logging in to the link
  /// at the moment (503).
  SHARING_VISIT_TRY_LATER = 10,
  /// The method is not GET, HEAD or POST (405).
  SHARING_VISIT_BAD_METHOD = 11,
  /// The link opens later, and its application data has `"announce": true`: say when
  /// (403).  Retry-After is the time until then.  All other links that have not started
  /// are MISSING, and so are those that will not open then, because they are disabled,
  /// expire before, or have no use left.
  SHARING_VISIT_EARLY = 12
};

/// What was wrong with a POST.
enum VexoSharingVisitProblem {
  SHARING_VISIT_NO_PROBLEM = 0,
  /// The password is missing.  Nothing was counted.
  SHARING_VISIT_PASSWORD_EMPTY = 1,
  /// The user name is missing.  Nothing was counted.
  SHARING_VISIT_USERNAME_EMPTY = 2,
  /// The password is not that of the link.
  SHARING_VISIT_PASSWORD_WRONG = 3,
  /// The user name or its password is wrong.
  SHARING_VISIT_CREDENTIALS_WRONG = 4,
  /// The account is right, but the link does not admit it (REFUSED).
  SHARING_VISIT_USER_NOT_ADMITTED = 5,
  /// The form was sent by a page of another site (REFUSED).
  SHARING_VISIT_CROSS_SITE = 6
};

/// A request, for C programs.  Fill it with zeros first.  The caller owns the texts; a
/// null text counts as an empty one.  The members are those of
/// VEXO::sharing::VisitRequest.
struct VexoSharingVisitRequest {
  const char* project;
  const char* hash;
  const char* session_id;
  const char* method;
  const char* remote_address;
  const char* forwarded_for;
  const char* action;
  const char* username;
  const char* password;
  const char* fetch_site;
  const char* origin;
  const char* host;
  const char* base;
  const char* cookie_name;
  const char* cookie_path;
  int https;
};

/// An answer, for C programs.  VexoSharingVisitFree releases it.
struct VexoSharingVisitAnswer;

#ifdef __cplusplus
extern "C" {
#endif

/// Decides what to answer to a request, as VEXO::sharing::Visit does.  Throws nothing.
///
/// @param request  the request
/// @return the answer; release it with VexoSharingVisitFree.  Null for a null request,
///         and when there is no memory.
SHARING_EXPORT struct VexoSharingVisitAnswer* VexoSharingVisit(
    const struct VexoSharingVisitRequest* request);

/// What to answer.
///
/// @return one of VexoSharingVisitOutcome; SHARING_VISIT_TRY_LATER for a null answer
SHARING_EXPORT int VexoSharingVisitGetOutcome(
    const struct VexoSharingVisitAnswer* answer);

/// What was wrong with a POST.
///
/// @return one of VexoSharingVisitProblem; SHARING_VISIT_NO_PROBLEM for a null answer
SHARING_EXPORT int VexoSharingVisitGetProblem(
    const struct VexoSharingVisitAnswer* answer);

/// Result of the login (VexoSharingLoginResult) or of the check of the session
/// (VexoSharingCheckResult), for the log.
///
/// @return the result of the last of these calls; 0 when none was made
SHARING_EXPORT int VexoSharingVisitGetResult(const struct VexoSharingVisitAnswer* answer);

/// Whether the visitor has a session for the link, so that a page can offer to log out.
///
/// @return 1 or 0
SHARING_EXPORT int VexoSharingVisitHasSession(
    const struct VexoSharingVisitAnswer* answer);

/// Value of the Set-Cookie header to send.  It contains the session id.
///
/// @return a text that the answer owns; empty when there is no cookie to send, and null
///         for a null answer
SHARING_EXPORT const char* VexoSharingVisitGetCookie(
    const struct VexoSharingVisitAnswer* answer);

/// Value of the Retry-After header for SHARING_VISIT_BLOCKED, SHARING_VISIT_TRY_LATER and
/// SHARING_VISIT_EARLY, in seconds; 0 for other answers.
SHARING_EXPORT long VexoSharingVisitGetRetryAfter(
    const struct VexoSharingVisitAnswer* answer);

/// What a visitor needs to use the link, for the login form.
///
/// @return one of VexoSharingLinkProtection (sharing_link.h); -1 when the answer has no
///         link
SHARING_EXPORT int VexoSharingVisitGetProtection(
    const struct VexoSharingVisitAnswer* answer);

/// Title of the form that asks for a password or an account; empty when none is set.
///
/// @return a text that the answer owns; null when the answer has no link
SHARING_EXPORT const char* VexoSharingVisitGetTitle(
    const struct VexoSharingVisitAnswer* answer);

/// Data that the application stored with the link, as one line of JSON in UTF-8.
///
/// @return a text that the answer owns; null unless the visitor is admitted
///         (SHARING_VISIT_CONTENT)
SHARING_EXPORT const char* VexoSharingVisitGetApp(
    const struct VexoSharingVisitAnswer* answer);

/// Releases an answer and its texts.
///
/// @param answer  the answer; may be null
SHARING_EXPORT void VexoSharingVisitFree(struct VexoSharingVisitAnswer* answer);

#ifdef __cplusplus
}

#include <string>

#include "entry.h"

namespace VEXO::sharing {

/// What a visitor sent.  Empty texts are absent.  The destructor overwrites the secrets.
struct SHARING_EXPORT VisitRequest {
  ~VisitRequest();

  /// Name of the handler's application.  Links of other applications count as missing.
  std::string project;
  /// Hash of the link, decoded from the URL.
  std::string hash;
  /// Value of the handler's own cookie.  Never take it from anywhere else.
  std::string session_id;
  /// GET, HEAD or POST.
  std::string method;

  /// REMOTE_ADDR.
  std::string remote_address;
  /// X-Forwarded-For.  It counts only for proxies that the platform trusts.
  std::string forwarded_for;

  /// Field `action` of a POST: "login" or empty to log in, "logout" to log out.  For any
  /// other value the POST is answered as a GET.  Of several fields with one name, pass
  /// the first.
  std::string action;
  /// Field `username` of a POST, for a link that admits users.
  std::string username;
  /// Field `password` of a POST: that of the link, or of the user.
  std::string password;

  /// Sec-Fetch-Site.
  std::string fetch_site;
  /// Origin.
  std::string origin;
  /// Host, with the port if it has one.
  std::string host;
  /// Base URL of the site, which forms may be sent from too; may be empty.
  std::string base;

  /// Name of the handler's cookie.
  std::string cookie_name;
  /// Path of the cookie: that of the link's URL, percent-encoded, without a slash at its
  /// end.
  std::string cookie_path;
  /// Whether the visitor uses HTTPS.  The cookie is then Secure.
  bool https = false;
};

/// What to answer.  The destructor overwrites the session id.
struct SHARING_EXPORT VisitAnswer {
  ~VisitAnswer();

  VexoSharingVisitOutcome outcome = SHARING_VISIT_TRY_LATER;
  VexoSharingVisitProblem problem = SHARING_VISIT_NO_PROBLEM;
  /// Result of the login or of the check of the session, whichever was called last, for
  /// the log; 0 when neither was called.
  int result = 0;
  /// Whether the visitor has a session for the link, so that a page can offer to log out.
  bool has_session = false;
  /// Value of the Set-Cookie header; empty when there is no cookie to send.
  std::string set_cookie;
  /// Seconds for the Retry-After header; 0 for answers other than BLOCKED, TRY_LATER and
  /// EARLY.
  long retry_after = 0;
  /// The link.  Its row id is 0 for MISSING, BLOCKED, TRY_LATER, BAD_METHOD and a form of
  /// another site.  Show its `app` only for CONTENT; for EARLY, show its start alone.
  record::Entry link;
};

/// Decides what to answer to a request.  A failure is never answered as an absent link:
/// it is TRY_LATER.  A process opens the database once; when that fails, every answer is
/// TRY_LATER until the process ends.  Throws nothing but std::bad_alloc.
///
/// A GET or HEAD request counts no use.  A hash without a usable link counts as a failed
/// login of the address, the same hash at most once in five minutes.  After 30 wrong
/// passwords for a link within five minutes, its logins are BLOCKED for everybody until
/// the oldest is five minutes old; visitors who are logged in stay.  A login in progress
/// counts, too: while 30 passwords are wrong or being checked, the next login waits for
/// up to a second, and is then TRY_LATER.  SIGHUP, SIGINT and SIGTERM are blocked during
/// a login, so that each wrong password is counted.
///
/// A login always creates a new session, which prevents session fixation.  A use limit
/// admits exactly that many logins, also at the same moment.
SHARING_EXPORT VisitAnswer Visit(const VisitRequest& request);

}  // namespace VEXO::sharing
#endif
