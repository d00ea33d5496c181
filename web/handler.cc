#include "web/handler.h"

#include <strings.h>

#include <algorithm>
#include <string>
#include <utility>

#include "base/text.h"
#include "base/wipe.h"
#include "entry.h"
#include "entry_db.h"
#include "sharing_db.h"
#include "sharing_visit.h"
#include "web/content.h"
#include "web/drop_response.h"
#include "web/language.h"
#include "web/link_address.h"
#include "web/link_redirect.h"
#include "web/pages/pages.h"
#include "web/parameters.h"
#include "web/record/visit_record.h"
#include "web/visit_request.h"

namespace web {
namespace {

using VEXO::sharing::VisitAnswer;
using VEXO::sharing::VisitRequest;
using VEXO::sharing::record::Entry;

constexpr size_t kLargestTarget = 8 << 10;
constexpr size_t kLargestVariables = 64 << 10;
constexpr size_t kLargestForm = 16 << 10;

// The action of a form with files: the decision needs no field of it, and its body is
// read only for those who are admitted.
const char kSend[] = "send";

const char kRealm[] = "Form realm=\"sharing\"";
const char kMethods[] = "GET, HEAD, POST";

Response MakeLogin(const VisitRequest& visit, const VisitAnswer& answer) {
  LoginPage page;
  page.title = answer.link.get_protect_title();
  page.users = answer.link.get_protect_type() == Entry::PROTECT_USER;
  page.username = visit.username;
  page.problem = answer.problem;
  Response response = MakePage(401, RenderLogin(page), FormTarget(answer.link));
  response.Add("WWW-Authenticate", kRealm);
  return response;
}

Response MakeOpen(const Entry& link) {
  Response response =
      MakePage(401, RenderOpen(link.get_protect_title()), FormTarget(link));
  response.Add("WWW-Authenticate", kRealm);
  return response;
}

Response MakeEarly(const VisitAnswer& answer) {
  Response response = MakePage(403, RenderEarly(answer.link.get_start_at()));
  response.Add("Retry-After", std::to_string(answer.retry_after));
  return response;
}

/// Reads the form of a POST request.  Returns the answer where that fails.
std::optional<Response> ReadForm(const Variables& request, const ReadBody& read_body,
                                 Parameters* form) {
  std::optional<std::string> body = read_body(kLargestForm);
  if (!body) return MakeMessage(400, Message::kBadRequest);
  if (body->size() > kLargestForm) return MakeMessage(413, Message::kFormTooLarge);
  const std::string type = VEXO::base::Split(request.Get("CONTENT_TYPE"), ";").front();
  const bool urlencoded =
      strcasecmp(type.c_str(), "application/x-www-form-urlencoded") == 0;
  if (!body->empty() && !urlencoded) return MakeMessage(415, Message::kFormType);
  std::optional<Parameters> parsed = Parameters::Parse(*body);
  VEXO::base::Wipe(&*body);
  if (!parsed) return MakeMessage(400, Message::kBadRequest);
  *form = std::move(*parsed);
  return std::nullopt;
}

Response MakeAnswer(const Variables& request, const LinkAddress& address,
                    const Site& site, const VisitRequest& visit,
                    const VisitAnswer& answer, const Settings& settings) {
  SharedByLink shared;
  if (std::optional<Response> unusable = FindShared(answer, &shared))
    return std::move(*unusable);
  switch (answer.outcome) {
    case SHARING_VISIT_CONTENT:
      return AnswerContent(request, address,
                           site.LinkUrl(visit.host, visit.https, visit.cookie_path),
                           answer, shared, settings);
    case SHARING_VISIT_LOGGED_IN:
      return MakeRedirect(303, AfterLogin(address, answer.link));
    case SHARING_VISIT_LOGGED_OUT:
      return MakeRedirect(303, SameAddress(address));
    case SHARING_VISIT_LOGIN:
      return MakeLogin(visit, answer);
    case SHARING_VISIT_OPEN:
      return MakeOpen(answer.link);
    case SHARING_VISIT_REFUSED:
      return MakeMessage(403, answer.problem == SHARING_VISIT_CROSS_SITE
                                  ? Message::kCrossSite
                                  : Message::kNotAdmitted);
    case SHARING_VISIT_EARLY:
      return MakeEarly(answer);
    case SHARING_VISIT_USED_UP:
      return MakeMessage(410, Message::kUsedUp);
    case SHARING_VISIT_BLOCKED: {
      Response response = MakeMessage(429, Message::kBlocked);
      response.Add("Retry-After", std::to_string(std::max(1L, answer.retry_after)));
      return response;
    }
    case SHARING_VISIT_TRY_LATER:
      return MakeTryLater(answer.retry_after);
    case SHARING_VISIT_BAD_METHOD: {
      Response response = MakeMessage(405, Message::kMethod);
      response.Add("Allow", kMethods);
      return response;
    }
    default:
      return MakeMissing();
  }
}

}  // namespace

Response Handler::Answer(const Variables& request, const ReadBody& read_body) const {
  UseLanguage(ChooseLanguage(request.Get("HTTP_ACCEPT_LANGUAGE"), settings_.language));
  const std::string& target = request.Get("REQUEST_URI");
  if (target.size() > kLargestTarget) return MakeMessage(414, Message::kTooLong);
  if (request.size() > kLargestVariables) return MakeMessage(431, Message::kTooLong);
  const std::optional<LinkAddress> address = ParseTarget(target, site_);
  if (!address || request.repeats()) return MakeMessage(400, Message::kBadRequest);
  if (address->hash.empty()) return MakeMissing();

  Parameters form;
  const bool sends = IsUpload(request);
  if (request.Get("REQUEST_METHOD") == "POST" && !sends) {
    std::optional<Response> failure = ReadForm(request, read_body, &form);
    if (failure) return std::move(*failure);
  }
  VisitRequest visit = MakeVisitRequest(request, *address, form, site_);
  if (sends) visit.action = kSend;
  if (visit.method == "POST" && !sends && visit.action != "logout") {
    // A login must use nothing of a link that is not usable.
    VisitRequest look = visit;
    look.method = "GET";
    SharedByLink shared;
    std::optional<Response> unusable = FindShared(VEXO::sharing::Visit(look), &shared);
    if (unusable) return std::move(*unusable);
  }
  const VisitAnswer answer = VEXO::sharing::Visit(visit);
  Response response = MakeAnswer(request, *address, site_, visit, answer, settings_);
  CompleteRecord(request, *address, answer, settings_.address_in_log, &response.visit);
  if (!answer.set_cookie.empty()) response.Add("Set-Cookie", answer.set_cookie);
  return response;
}

bool Handler::CanLookUp() {
  const VEXO::sharing::db::EntryDB links(VEXO::sharing::db::SharingDB::Instance());
  links.GetCondition().Where("hash", "");
  int count = 0;
  return links.Count(count);
}

}  // namespace web
