#include "web/record/visit_record.h"

#include "base/access_log.h"
#include "result_code.h"
#include "web/record/address.h"
#include "web/visit_request.h"

namespace web {
namespace {

using VEXO::sharing::VisitAnswer;

/// What came of a form; null when nothing is recorded.
const char* EventOfForm(const VisitAnswer& answer) {
  switch (answer.outcome) {
    case SHARING_VISIT_LOGGED_IN:  // also who is inside, or need not log in
      return answer.set_cookie.empty() ? nullptr : VEXO::base::kEventLogin;
    case SHARING_VISIT_LOGGED_OUT:  // also who was not inside
      return answer.result == SHARING_CHECK_SUCCESS ? VEXO::base::kEventLogout : nullptr;
    case SHARING_VISIT_LOGIN:
      return answer.problem == SHARING_VISIT_PASSWORD_WRONG ||
                     answer.problem == SHARING_VISIT_CREDENTIALS_WRONG
                 ? VEXO::base::kEventLoginFailed
                 : nullptr;
    case SHARING_VISIT_REFUSED:
      return VEXO::base::kEventRefused;
    case SHARING_VISIT_USED_UP:
      return VEXO::base::kEventUsedUp;
    case SHARING_VISIT_BLOCKED:
      return VEXO::base::kEventBlocked;
    default:
      return nullptr;
  }
}

std::string AddressOf(const Variables& request, AddressInLog kept) {
  if (kept == AddressInLog::kNone) return "";
  const std::string address = VisitorAddress(request);
  return kept == AddressInLog::kFull ? address : NetworkOf(address);
}

}  // namespace

void CompleteRecord(const Variables& request, const LinkAddress& address,
                    const VisitAnswer& answer, AddressInLog kept, LoggedVisit* visit) {
  const std::string& method = request.Get("REQUEST_METHOD");
  const bool content = answer.outcome == SHARING_VISIT_CONTENT;
  if (method == "HEAD") visit->event = nullptr;
  if (method == "POST" && !content) visit->event = EventOfForm(answer);
  if (visit->event == nullptr) return;
  visit->link = address.hash;
  const bool stranger =
      answer.outcome == SHARING_VISIT_REFUSED || answer.outcome == SHARING_VISIT_BLOCKED;
  if (!stranger) visit->path = address.Path();  // who is refused must not fill the log
  visit->address = AddressOf(request, kept);
  // An open link does not mind a session that has ended.
  if (!content || answer.has_session) visit->code = answer.result;
}

}  // namespace web
