// The C interface.  No exception leaves it.

#include <exception>
#include <memory>
#include <string>

#include "sharing_visit.h"
#include "utils/json_text.h"

using VEXO::sharing::JsonText;
using VEXO::sharing::Visit;
using VEXO::sharing::VisitAnswer;
using VEXO::sharing::VisitRequest;

struct VexoSharingVisitAnswer {
  VisitAnswer answer;
  std::string title;
  std::string app;
};

namespace {

const char* TextOrEmpty(const char* text) { return text == nullptr ? "" : text; }

void Convert(const VexoSharingVisitRequest& from, VisitRequest& to) {
  to.project = TextOrEmpty(from.project);
  to.hash = TextOrEmpty(from.hash);
  to.session_id = TextOrEmpty(from.session_id);
  to.method = TextOrEmpty(from.method);
  to.remote_address = TextOrEmpty(from.remote_address);
  to.forwarded_for = TextOrEmpty(from.forwarded_for);
  to.action = TextOrEmpty(from.action);
  to.username = TextOrEmpty(from.username);
  to.password = TextOrEmpty(from.password);
  to.fetch_site = TextOrEmpty(from.fetch_site);
  to.origin = TextOrEmpty(from.origin);
  to.host = TextOrEmpty(from.host);
  to.base = TextOrEmpty(from.base);
  to.cookie_name = TextOrEmpty(from.cookie_name);
  to.cookie_path = TextOrEmpty(from.cookie_path);
  to.https = from.https != 0;
}

bool HasLink(const VexoSharingVisitAnswer* answer) {
  return answer != nullptr && answer->answer.link.get_id() != 0;
}

}  // namespace

VexoSharingVisitAnswer* VexoSharingVisit(const VexoSharingVisitRequest* request) {
  if (request == nullptr) return nullptr;
  try {
    VisitRequest converted;
    Convert(*request, converted);
    auto made = std::make_unique<VexoSharingVisitAnswer>();
    made->answer = Visit(converted);
    made->title = made->answer.link.get_protect_title();
    made->app = JsonText(made->answer.link.get_app());
    return made.release();
  } catch (const std::exception&) {
    return nullptr;  // no memory
  }
}

int VexoSharingVisitGetOutcome(const VexoSharingVisitAnswer* answer) {
  return answer != nullptr ? answer->answer.outcome : SHARING_VISIT_TRY_LATER;
}

int VexoSharingVisitGetProblem(const VexoSharingVisitAnswer* answer) {
  return answer != nullptr ? answer->answer.problem : SHARING_VISIT_NO_PROBLEM;
}

int VexoSharingVisitGetResult(const VexoSharingVisitAnswer* answer) {
  return answer != nullptr ? answer->answer.result : 0;
}

int VexoSharingVisitHasSession(const VexoSharingVisitAnswer* answer) {
  return answer != nullptr && answer->answer.has_session ? 1 : 0;
}

const char* VexoSharingVisitGetCookie(const VexoSharingVisitAnswer* answer) {
  return answer != nullptr ? answer->answer.set_cookie.c_str() : nullptr;
}

long VexoSharingVisitGetRetryAfter(const VexoSharingVisitAnswer* answer) {
  return answer != nullptr ? answer->answer.retry_after : 0;
}

int VexoSharingVisitGetProtection(const VexoSharingVisitAnswer* answer) {
  return HasLink(answer) ? answer->answer.link.get_protect_type() : -1;
}

const char* VexoSharingVisitGetTitle(const VexoSharingVisitAnswer* answer) {
  return HasLink(answer) ? answer->title.c_str() : nullptr;
}

const char* VexoSharingVisitGetApp(const VexoSharingVisitAnswer* answer) {
  return VexoSharingVisitGetOutcome(answer) == SHARING_VISIT_CONTENT ? answer->app.c_str()
                                                                     : nullptr;
}

void VexoSharingVisitFree(VexoSharingVisitAnswer* answer) { delete answer; }
