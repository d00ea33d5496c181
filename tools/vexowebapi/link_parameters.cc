#include "link_parameters.h"

#include <limits>

#include "admission.h"
#include "latest_moment.h"

namespace webapi {

namespace {

using namespace VEXO::sharing;
using record::Entry;

void ApplyTexts(Parameters& parameters, Entry& link) {
  std::string text;
  if (parameters.Text(SZK_PROJECT_NAME, text)) {
    if (text.empty()) parameters.Fail(kBadParameter, "project_name is empty");
    link.set_project_name(text);
  }
  if (parameters.Text(SZK_PROTECT_TITLE, text)) link.set_protect_title(text);
  if (parameters.Text(SZK_REDIRECT_URI, text)) link.set_redirect_uri(text);
  unsigned int owner = UID_ERR;
  if (parameters.User(SZK_OWNER_USER, owner)) link.set_owner_uid(owner);
  Json::Value object;
  if (parameters.Object(SZK_APP, object)) link.set_app(object);
  if (parameters.Object(SZK_PRIVATE_DATA, object)) link.set_private_data(object);
}

void ApplyLimits(Parameters& parameters, Entry& link) {
  long number = 0;
  const bool starts = parameters.Number(SZK_START_AT, 0, tools::kLatestMoment, number);
  if (starts) link.set_start_at(number);
  const bool expires = parameters.Number(SZK_EXPIRE_AT, 0, tools::kLatestMoment, number);
  if (expires) link.set_expire_at(number);
  if ((starts || expires) && link.get_expire_at() != 0 &&
      link.get_start_at() > link.get_expire_at()) {
    parameters.Fail(kBadParameter, "expire_at is before start_at");
  }
  if (parameters.Number(SZK_EXPIRE_TIMES, 0, std::numeric_limits<int>::max(), number)) {
    link.set_expire_times(static_cast<int>(number));
  }
  bool flag = false;
  if (parameters.Flag(SZK_ENABLED_, flag)) link.set_enabled(flag);
  if (parameters.Flag(SZK_AUTO_GC, flag)) link.set_auto_gc(flag);
  if (parameters.Flag(SZK_ENABLE_MATCH_IP, flag)) link.set_enable_match_ip(flag);
}

void ApplyRedirectType(Parameters& parameters, Entry& link) {
  std::string text;
  if (!parameters.Text(SZK_REDIRECT_TYPE, text)) return;
  if (text == SZK_REDIRECT_REDIRECT_NONE) {
    link.set_redirect_type(Entry::REDIRECT_NONE);
  } else if (text == SZK_REDIRECT_REDIRECT_URLPARAM) {
    link.set_redirect_type(Entry::REDIRECT_URLPARAM);
  } else if (text == SZK_REDIRECT_REDIRECT_ALWAYS) {
    link.set_redirect_type(Entry::REDIRECT_ALWAYS);
  } else {
    parameters.Fail(kBadParameter, "redirect_type is none, url_param or always");
  }
}

/// The type that is asked for; left out, it follows from what else is asked for.
Entry::ProtectType AskedType(Parameters& parameters, Entry::ProtectType present,
                             bool password, bool names) {
  std::string text;
  if (!parameters.Text(SZK_PROTECT_TYPE, text)) {
    if (password && names) {
      parameters.Fail(kBadParameter,
                      "a link asks for a password or for users, not for both");
    }
    return password ? Entry::PROTECT_PASSWORD : names ? Entry::PROTECT_USER : present;
  }
  if (text == SZK_PROTECT_PROTECT_NONE) return Entry::PROTECT_NONE;
  if (text == SZK_PROTECT_PROTECT_PASSWORD) return Entry::PROTECT_PASSWORD;
  if (text != SZK_PROTECT_PROTECT_USER) {
    parameters.Fail(kBadParameter, "protect_type is none, password or user");
  }
  return Entry::PROTECT_USER;
}

void DrawAndSetPassword(Parameters& parameters, Entry& link, Password& password) {
  if (!password.Draw()) {
    parameters.Fail(kFailed, "no random password could be drawn");
    return;
  }
  link.set_protect_password(password.text(), true, Entry::ENCRYPT_ALGO_DEFAULT);
  if (link.get_protect_password().empty()) {
    parameters.Fail(kFailed, "the password could not be stored");
  }
}

void ApplyProtection(Parameters& parameters, Entry& link, Password& password) {
  std::vector<std::string> users;
  std::vector<std::string> groups;
  if (parameters.Names(SZK_PROTECT_USERS, users)) link.set_protect_users(users);
  if (parameters.Names(SZK_PROTECT_GROUPS, groups)) link.set_protect_groups(groups);
  bool generate = false;
  parameters.Flag(kGeneratePassword, generate);
  const bool names = !users.empty() || !groups.empty();
  const Entry::ProtectType type =
      AskedType(parameters, link.get_protect_type(), generate, names);
  link.set_protect_type(type);

  if (generate && type != Entry::PROTECT_PASSWORD) {
    parameters.Fail(kBadParameter, "a password is for protect_type=password only");
  } else if (names && type != Entry::PROTECT_USER) {
    parameters.Fail(kBadParameter, "users and groups are for protect_type=user only");
  } else if (generate) {
    DrawAndSetPassword(parameters, link, password);
  } else if (type == Entry::PROTECT_PASSWORD && link.get_protect_password().empty()) {
    parameters.Fail(kMissingParameter,
                    "generate_password=true is required: the link has no password");
  } else if (tools::AdmitsNobody(link)) {
    parameters.Fail(kMissingParameter,
                    "protect_users or protect_groups must name who is admitted");
  }
}

}  // namespace

void ApplyParameters(Parameters& parameters, Entry& link, Password& password) {
  ApplyTexts(parameters, link);
  ApplyLimits(parameters, link);
  ApplyRedirectType(parameters, link);
  if (!parameters.failure()) ApplyProtection(parameters, link, password);
}

}  // namespace webapi
