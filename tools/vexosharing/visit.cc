#include <arpa/inet.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

#include "commands.h"
#include "database.h"
#include "json.h"
#include "options.h"
#include "secret.h"
#include "sharinglogin.h"
#include "text.h"

namespace command {

namespace {

const char kSessionVariable[] = "SHARING_SID";
constexpr int kSuccess = 1;

struct Options {
  bool json = false;
  std::string hash;
  std::string action;
  std::string address = "127.0.0.1";
  std::string user;
  bool password_stdin = false;
};

struct Result {
  int code;
  std::string meaning;
  std::string session_id;  // of a login that succeeded
};

const char* LoginMeaning(int code) {
  switch (code) {
    case 1:
      return "logged in";
    case -2:
      return "user or password refused";
    case -3:
      return "no such link, not usable now, or what it asks for was not given";
    case -8:
      return "the address is blocked";
    case -9:
      return "wrong password";
    case -10:
      return "the link does not admit this user";
    case -11:
      return "the uses are exhausted";
    default:
      return "general failure; the system log says why";
  }
}

const char* CheckMeaning(int code) {
  switch (code) {
    case 1:
      return "authorised";
    case -1:
      return "the login has expired";
    case -2:
      return "the link does not admit the user any more";
    case -5:
      return "no such session";
    case -6:
      return "the link is not usable any more";
    case -7:
      return "no such link, or not logged in to it";
    case -8:
      return "the address is not that of the login";
    default:
      return "general failure; the system log says why";
  }
}

const char* TextOrNull(const std::string& text) {
  return text.empty() ? nullptr : text.c_str();
}

Result Visit(const Options& options, const Secret& password, const std::string& session) {
  _tag_sharing_login_params params = {};
  params.hash = options.hash.c_str();
  params.session_id = TextOrNull(session);
  params.username = TextOrNull(options.user);
  params.password = TextOrNull(password.text());
  params.user_password = params.password;
  if (options.action == "login") {
    std::string out;
    const int code = VEXO::VexoSharingLogin(out, &params, false);
    return {code, LoginMeaning(code), out};
  }
  if (options.action == "check") {
    const int code = VEXO::VexoSharingIsAuthorized(&params);
    return {code, CheckMeaning(code), ""};
  }
  const bool done = VEXO::VexoSharingLogout(options.hash, session);
  return {done ? 1 : 0, done ? "logged out" : "was not logged in to this link", ""};
}

void Print(const Options& options, const Result& result) {
  if (options.json) {
    Json::Value out(Json::objectValue);
    out["action"] = options.action;
    out["hash"] = options.hash;
    out["result"] = result.code;
    out["meaning"] = result.meaning;
    if (!result.session_id.empty()) out["session_id"] = result.session_id;
    PrintJson(out);
    return;
  }
  std::cout << result.code << " " << result.meaning << "\n";
  if (!result.session_id.empty()) std::cout << result.session_id << "\n";
}

Outcome Run(const Options& options) {
  Secret password;
  if (options.password_stdin && !password.ReadInput("password")) return kWrongCall;
  // Only a login goes without a session; one that is given is used again.
  Secret session;
  const char* const variable = getenv(kSessionVariable);
  const std::string given = variable == nullptr ? "" : variable;
  if (given.empty() && options.action != "login" && !session.ReadInput("session id")) {
    return kWrongCall;
  }
  if (!OpenDatabase(VEXO::sharing::SZF_SHARING_DB_PATH)) return kNotUsable;
  setenv("REMOTE_ADDR", options.address.c_str(), 1);
  const Result result = Visit(options, password, given.empty() ? session.text() : given);
  Print(options, result);
  return result.code == kSuccess ? kDone : kRefused;
}

CLI::Validator Address() {
  return CLI::Validator(
      [](std::string& text) -> std::string {
        unsigned char address[sizeof(in6_addr)];
        const bool good = inet_pton(AF_INET, text.c_str(), address) == 1 ||
                          inet_pton(AF_INET6, text.c_str(), address) == 1;
        return good ? "" : "\"" + text + "\" is no IP address";
      },
      "");
}

}  // namespace

void AddVisit(CLI::App& app, Work& work) {
  const auto options = std::make_shared<Options>();
  CLI::App& command = AddCommand(
      app, "visit",
      "Takes a visitor through a link.\n"
      "For trying out, and for scripts.  It prints the result code and its meaning; a\n"
      "login prints the session id in the next line.  check and logout take that from\n"
      "the variable SHARING_SID, or from the next line of standard input.  It works on\n"
      "the system's own database.",
      "vexosharing visit xK3fQ9aZb login --password-stdin <secret-file\n"
      "  SHARING_SID=the-second-line vexosharing visit xK3fQ9aZb check");
  command.add_option("HASH", options->hash, "the link")->required();
  command.add_option("ACTION", options->action, "login, check or logout")
      ->required()
      ->check(OneOf({"login", "check", "logout"}));
  command.add_option("--address", options->address, "the visitor's address (127.0.0.1)")
      ->transform(Address())
      ->type_name("IP");
  command
      .add_option("--user", options->user, "user of this machine, for links that ask it")
      ->transform(NotEmpty())
      ->type_name("USER");
  command.add_flag("--password-stdin", options->password_stdin,
                   "password of link or user: first line of input");
  AddJson(command, options->json);
  command.callback([options, &work] { work = [options] { return Run(*options); }; });
}

}  // namespace command
