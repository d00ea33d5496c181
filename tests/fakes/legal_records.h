#pragma once

#include <ctime>
#include <string>

#include "session.h"
#include "token.h"

namespace fakes {

// Records that may be stored, with a deadline in the future.  A test changes one value.

inline VEXO::sharing::record::Session LegalSession(
    const std::string& session_id = "sid") {
  VEXO::sharing::record::Session session;
  session.set_session_id(session_id);
  session.set_uid(1000);
  session.set_ip("192.0.2.7");
  session.set_timeout(time(nullptr) + 1000);
  return session;
}

inline VEXO::sharing::record::Token LegalToken(int entry_id = 12, int session_id = 3) {
  VEXO::sharing::record::Token token;
  token.set_entry_id(entry_id);
  token.set_session_id(session_id);
  token.set_timeout(time(nullptr) + 1000);
  return token;
}

}  // namespace fakes
