#include "sharinglogin.h"

#include <vexo/account.h>
#include <vexo/autoblock.h>
#include <vexo/cgi.h>

#include <algorithm>
#include <ctime>
#include <set>
#include <string>
#include <vector>

#include "db/write_transaction.h"
#include "entry.h"
#include "entry_db.h"
#include "session.h"
#include "session_db.h"
#include "sharing_db.h"
#include "token.h"
#include "token_db.h"
#include "utils.h"
#include "utils/log.h"
#include "utils/null_text.h"
#include "utils/user_record.h"
#include "utils/wipe.h"

namespace {

using VEXO::sharing::GetRealUsername;
using VEXO::sharing::TextOrThrow;
using VEXO::sharing::UID_ERR;
using VEXO::sharing::UserGet;
using VEXO::sharing::UserGroupsGet;
using VEXO::sharing::UserRecord;
using VEXO::sharing::WipeAtEnd;
using VEXO::sharing::db::EntryDB;
using VEXO::sharing::db::SessionDB;
using VEXO::sharing::db::SharingDB;
using VEXO::sharing::db::TokenDB;
using VEXO::sharing::db::WriteTransaction;
using VEXO::sharing::record::Entry;
using VEXO::sharing::record::Session;
using VEXO::sharing::record::Token;

const char kSource[] = "sharinglogin";

const char kBlockService[] = "SHARING";
const char kSidParameter[] = "_sid";
const char kSidCookie[] = "id";
const char kLoginApplication[] = "webui";

constexpr long kLifetime = 86400;  // of sessions and tokens, in seconds
constexpr size_t kAddressSize = 65;
constexpr size_t kLoginOutputSize = 123;

// Reserved by the platform's login.
constexpr int kLoginReserved1 = 15;
constexpr int kLoginReserved2 = 1;

// Results that the login and the check have in common.
constexpr int kSuccess = SHARING_LOGIN_SUCCESS;
constexpr int kGeneralFailure = SHARING_LOGIN_GENERAL_FAILURE;
static_assert(kSuccess == SHARING_CHECK_SUCCESS &&
              kGeneralFailure == SHARING_CHECK_GENERAL_FAILURE);

// A result of the user protection check, in addition to these two and
// SHARING_LOGIN_REFUSED.
constexpr int kUserNotListed = -6;

/// A CGI context, which the destructor releases, also after a failed initialization.
class CgiContext {
 public:
  CgiContext() = default;
  ~CgiContext() { VexoCgiFree(&context_); }
  CgiContext(const CgiContext&) = delete;
  CgiContext& operator=(const CgiContext&) = delete;

  VexoCgiContext* get() { return &context_; }

 private:
  VexoCgiContext context_ = {};
};

long NewDeadline() { return time(nullptr) + kLifetime; }

/// The client's address.
bool GetRemoteIP(std::string& address) {
  char buffer[kAddressSize] = {};
  if (VexoCgiGetRemoteIP(buffer, sizeof(buffer)) == -1) return false;
  address = buffer;
  return true;
}

/// Passes a session id of the appliance, which the page sent, on to the login that
/// follows.
bool TakeCookies(VexoCgiContext* context) {
  VexoCgiLoadInCookies(context);
  const char* const sid = VexoCgiGetRequestParam(context, kSidParameter, 0);
  return sid == nullptr || *sid == '\0' ||
         VexoCgiSetCookies(context, kSidCookie, sid, 0, "/", nullptr, 0) == 1;
}

/// Whether the appliance accepts the visitor's user name and password.
bool LogIn(VexoCgiContext* context, const _tag_sharing_login_params& params) {
  const std::string username = GetRealUsername(params.username);
  const VexoCgiLoginRequest request = {username.c_str(), params.user_password,
                                       kLoginApplication, kLoginReserved1,
                                       kLoginReserved2};
  char output[kLoginOutputSize] = {};
  return VexoCgiLogin(context, output, sizeof(output), &request) == 1;
}

bool IsListed(const Entry& entry, unsigned int uid, const std::set<unsigned int>& gids) {
  const std::vector<unsigned int> protect_uids = entry.get_protect_uids();
  if (std::find(protect_uids.begin(), protect_uids.end(), uid) != protect_uids.end()) {
    return true;
  }
  const std::vector<unsigned int> protect_gids = entry.get_protect_gids();
  return std::any_of(protect_gids.begin(), protect_gids.end(),
                     [&gids](unsigned int gid) { return gids.count(gid) != 0; });
}

/// Whether a user-protected link admits a user.
///
/// @param params       with a user name, this user is logged in and checked
/// @param[in,out] uid  without a user name, the user to check; otherwise receives the id
///                     of the user who was logged in
/// @return kSuccess, kGeneralFailure, kUserNotListed or SHARING_LOGIN_REFUSED
int CheckProtectUser(const Entry& entry, const _tag_sharing_login_params& params,
                     unsigned int& uid) {
  CgiContext context;
  if (VexoCgiInit("", context.get()) != 1 || !TakeCookies(context.get())) {
    return kGeneralFailure;
  }
  VEXOUSER* found = nullptr;
  if (params.username != nullptr) {
    if (!LogIn(context.get(), params)) return SHARING_LOGIN_REFUSED;
    if (!UserGet(params.username, found)) return kGeneralFailure;
  } else if (VEXOUserGetByUID(uid, &found) != 0) {
    return kGeneralFailure;
  }
  const UserRecord user(found);
  std::set<unsigned int> gids;
  if (!UserGroupsGet(user.get(), gids)) return kGeneralFailure;
  if (params.username != nullptr) {
    uid = user->uid;
  }
  return IsListed(entry, user->uid, gids) ? kSuccess : kUserNotListed;
}

/// Checks the protection of a link for a login, and counts a failed login.
///
/// @param[out] uid  id of the user whom a user-protected link admits
/// @return one of VexoSharingLoginResult
int CheckProtection(const Entry& entry, const _tag_sharing_login_params& params,
                    const std::string& address, bool suppress_autoblock,
                    unsigned int& uid) {
  int result = kSuccess;
  if (entry.get_protect_type() == Entry::PROTECT_PASSWORD) {
    if (params.password == nullptr) {
      result = SHARING_LOGIN_NO_USABLE_LINK;
    } else {
      std::string password = params.password;
      const WipeAtEnd wipe(password.data(), password.size());
      result = entry.IsPasswordValid(password) ? kSuccess : SHARING_LOGIN_WRONG_PASSWORD;
    }
  } else if (entry.get_protect_type() == Entry::PROTECT_USER) {
    result = CheckProtectUser(entry, params, uid);
    if (result == kUserNotListed) {
      result = SHARING_LOGIN_USER_NOT_ADMITTED;
    } else if (result != kSuccess && result != SHARING_LOGIN_REFUSED) {
      result = SHARING_LOGIN_NO_USABLE_LINK;
    }
  }
  const bool counts = result != kSuccess &&
                      !(result == SHARING_LOGIN_USER_NOT_ADMITTED && suppress_autoblock);
  if (counts) {
    AutoBlockFailLoginSet(address.c_str(), kBlockService);
  }
  return result;
}

/// Finds the visitor's session by its id, or creates one, and moves its deadline.  A
/// session that was found is not stored yet.
bool RenewSession(SessionDB& sessions, const char* session_id, const std::string& address,
                  Session& session) {
  // An expired session has a row id too, and is used again.
  const bool known =
      session_id != nullptr &&
      (sessions.GetBySessionId(session_id, session) || session.get_id() != 0);
  session.set_ip(address);
  session.set_timeout(NewDeadline());
  return known || sessions.CreateWithSessionId(session);
}

/// Moves the deadline of the session's token for the link, or creates a token if there is
/// none that has not expired.
bool RenewToken(TokenDB& tokens, const Session& session, const Entry& entry,
                Token& token) {
  if (tokens.GetBySessionEntry(session, entry, token)) {
    token.set_timeout(NewDeadline());
    return tokens.Update(token);
  }
  token.set_session_id(session.get_id());
  token.set_entry_id(entry.get_id());
  token.set_timeout(NewDeadline());
  return tokens.Create(token);
}

/// Stores the session again, with the user whom a user-protected link admitted.
bool UpdateSession(SessionDB& sessions, const Entry& entry, unsigned int uid,
                   Session& session) {
  if (entry.get_protect_type() == Entry::PROTECT_USER) session.set_uid(uid);
  return sessions.Update(session);
}

/// Checks the deadline of a session's token for a link.  An expired token deletes its
/// row.
int CheckToken(TokenDB& tokens, const Token& token) {
  if (token.IsLegal()) return kSuccess;
  LogError("%s:%d token is not valid", kSource, __LINE__);
  if (!tokens.Delete(token)) {
    LogError("%s:%d delete token failed", kSource, __LINE__);
    return kGeneralFailure;
  }
  return SHARING_CHECK_EXPIRED;
}

}  // namespace

namespace VEXO {

int VexoSharingLogin(std::string& out, const _tag_sharing_login_params* params,
                     bool suppress_autoblock) {
  SharingDB& db = SharingDB::Instance();
  EntryDB entries(db);
  Entry entry;
  if (params == nullptr || !db.IsGood() || params->hash == nullptr) {
    return kGeneralFailure;
  }
  std::string address;
  if (!GetRemoteIP(address)) return kGeneralFailure;
  if (VexoCgiIsDeniedIP(address.c_str()) == 1) {
    LogError("%s:%d VexoAutoBlockIsDeniedIP %s", kSource, __LINE__, address.c_str());
    return SHARING_LOGIN_ADDRESS_BLOCKED;
  }
  if (!entries.GetByHash(params->hash, entry) || !entry.IsValid()) {
    return SHARING_LOGIN_NO_USABLE_LINK;
  }
  if (entry.get_expire_times() > 0 && entry.get_use_count() >= entry.get_expire_times()) {
    return SHARING_LOGIN_USES_EXHAUSTED;
  }
  unsigned int uid = UID_ERR;
  const int admitted = CheckProtection(entry, *params, address, suppress_autoblock, uid);
  if (admitted != kSuccess) return admitted;
  if (!VexoSharingIncreaseUseCount(params->hash)) {
    LogError("%s:%d update entry use count fail", kSource, __LINE__);
  }

  SessionDB sessions(db);
  TokenDB tokens(db);
  Session session;
  Token token;
  if (!db.IsGood() || !GetRemoteIP(address) ||
      !RenewSession(sessions, params->session_id, address, session) ||
      !RenewToken(tokens, session, entry, token) ||
      !UpdateSession(sessions, entry, uid, session)) {
    tokens.Delete(token);
    return kGeneralFailure;
  }
  out = session.get_session_id();
  if (!suppress_autoblock) {
    VEXOAutoBlockFailLoginReset(address.c_str());
  }
  return kSuccess;
}

int VexoSharingIsAuthorized(const _tag_sharing_login_params* params) {
  SharingDB& db = SharingDB::Instance();
  SessionDB sessions(db);
  TokenDB tokens(db);
  EntryDB entries(db);
  Session session;
  Token token;
  Entry entry;
  if (!db.IsGood()) {
    LogError("%s:%d db is not good", kSource, __LINE__);
    if (!db.IsRoot()) return kGeneralFailure;
    LogError("%s:%d db ownner is root", kSource, __LINE__);
    db.MoveRootDB();  // the next process that opens the database creates a new one
  }
  if (params == nullptr || params->session_id == nullptr || params->hash == nullptr) {
    return kGeneralFailure;
  }
  std::string address;
  if (!GetRemoteIP(address)) {
    LogError("%s:%d invalid ip", kSource, __LINE__);
    return kGeneralFailure;
  }
  // A record that exists but is no longer legal has a row id.
  if (!sessions.GetBySessionId(params->session_id, session) && session.get_id() == 0) {
    return SHARING_CHECK_NO_SESSION;
  }
  if (!entries.GetByHash(params->hash, entry) && entry.get_id() == 0) {
    return SHARING_CHECK_NO_TOKEN;
  }
  if (!tokens.GetBySessionEntry(session, entry, token) && token.get_id() == 0) {
    return SHARING_CHECK_NO_TOKEN;
  }
  if (!entry.IsValid()) {
    LogError("%s:%d entry is not valid", kSource, __LINE__);
    return SHARING_CHECK_LINK_NOT_VALID;
  }
  if (!session.IsLegal()) {
    LogError("%s:%d session is not valid", kSource, __LINE__);
    return SHARING_CHECK_EXPIRED;
  }
  const int token_state = CheckToken(tokens, token);
  if (token_state != kSuccess) return token_state;
  if (entry.get_protect_type() == Entry::PROTECT_USER) {
    unsigned int uid = session.get_uid();
    if (CheckProtectUser(entry, *params, uid) != kSuccess) {
      LogError("%s:%d user login error", kSource, __LINE__);
      return SHARING_CHECK_USER_REFUSED;
    }
  }
  if (entry.get_enable_match_ip() && session.get_ip() != address) {
    LogError("%s:%d ip not match, %s, %s", kSource, __LINE__, session.get_ip().c_str(),
             address.c_str());
    return SHARING_CHECK_OTHER_ADDRESS;
  }
  session.set_timeout(NewDeadline());
  if (!sessions.Update(session)) {
    LogError("%s:%d update session failed", kSource, __LINE__);
    return kGeneralFailure;
  }
  token.set_timeout(NewDeadline());
  if (!tokens.Update(token)) {
    LogError("%s:%d update token failed", kSource, __LINE__);
    return kGeneralFailure;
  }
  return kSuccess;
}

bool VexoSharingLogout(const std::string& hash, const std::string& session_id) {
  SharingDB& db = SharingDB::Instance();
  EntryDB entries(db);
  SessionDB sessions(db);
  TokenDB tokens(db);
  if (!db.IsGood()) return false;
  // A record that has expired has a row id: its token is deleted too.
  Session session;
  if (!sessions.GetBySessionId(session_id, session) && session.get_id() == 0) {
    LogError("%s:%d get session failed", kSource, __LINE__);
    return false;
  }
  Entry entry;
  if (!entries.GetByHash(hash, entry) && entry.get_id() == 0) {
    LogError("%s:%d get entry failed", kSource, __LINE__);
    return false;
  }
  Token token;
  if (!tokens.GetBySessionEntry(session, entry, token) && token.get_id() == 0) {
    LogError("%s:%d get token failed", kSource, __LINE__);
    return false;
  }
  return tokens.Delete(token);
}

bool VexoSharingIncreaseUseCount(const std::string& hash) {
  SharingDB& db = SharingDB::Instance();
  EntryDB entries(db);
  if (!db.IsGood()) return false;
  // Update writes the whole row.  Without the transaction it could overwrite a concurrent
  // change of the link or lose another use.
  WriteTransaction counting(db);
  Entry entry;
  if (!counting || !entries.GetByHash(hash, entry)) return false;
  entry.inc_use_count();
  return entries.Update(entry) && counting.Commit();
}

}  // namespace VEXO

int VexoSharingLogin(char* buf, size_t size, const _tag_sharing_login_params* params,
                     int flag) {
  if (buf == nullptr || size == 0) return kGeneralFailure;
  std::string session_id;
  const int result = VEXO::VexoSharingLogin(session_id, params, flag == 1);
  session_id.copy(buf, size);
  buf[size - 1] = '\0';
  return result;
}

int VexoSharingIsAuthorized(const _tag_sharing_login_params* params) {
  return VEXO::VexoSharingIsAuthorized(params);
}

int VexoSharingLogout(const char* hash, const char* session_id) {
  return VEXO::VexoSharingLogout(TextOrThrow(hash), TextOrThrow(session_id)) ? 1 : 0;
}

int VexoSharingIncreaseUseCount(const char* hash) {
  return VEXO::VexoSharingIncreaseUseCount(TextOrThrow(hash)) ? 1 : 0;
}
