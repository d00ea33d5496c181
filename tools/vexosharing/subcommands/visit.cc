#include <arpa/inet.h>

#include <cstdlib>

#include "cli/file.h"
#include "result_code.h"
#include "sharinglogin.h"
#include "subcommands/table.h"

namespace command {

namespace {

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

const char* TextOrNull(const std::string& text) {
  return text.empty() ? nullptr : text.c_str();
}

Result Visit(const Options& options, const admin::Secret& password,
             const std::string& session) {
  _tag_sharing_login_params params = {};
  params.hash = options.hash.c_str();
  params.session_id = TextOrNull(session);
  params.username = TextOrNull(options.user);
  params.password = TextOrNull(password.text());
  params.user_password = params.password;
  if (options.action == "login") {
    std::string out;
    const int code = VEXO::VexoSharingLogin(out, &params, false);
    return {code, VexoSharingLoginMeaning(code), out};
  }
  if (options.action == "check") {
    const int code = VEXO::VexoSharingIsAuthorized(&params);
    return {code, VexoSharingCheckMeaning(code), ""};
  }
  const bool done = VEXO::VexoSharingLogout(options.hash, session);
  return {done ? 1 : 0, done ? "logged out" : "not logged in to this link", ""};
}

ExitCode Run(const Options& options) {
  admin::Secret password;
  if (options.password_stdin && !ReadSecret("password", password)) return kUsageError;
  // Only a login works without a session; a given one is used again.
  admin::Secret session;
  const char* const variable = getenv("SHARING_SID");
  const std::string given = variable == nullptr ? "" : variable;
  if (given.empty() && options.action != "login" && !ReadSecret("session id", session)) {
    return kUsageError;
  }
  admin::DatabaseAccess access;  // reports what the library would only log
  const Error error = access.Open(VEXO::sharing::SZF_SHARING_DB_PATH, Access::kWrite);
  if (error) return Fail(error);
  setenv("REMOTE_ADDR", options.address.c_str(), 1);
  Result result = Visit(options, password, given.empty() ? session.text() : given);
  // The same code for a login and a check.
  if (result.code == SHARING_LOGIN_GENERAL_FAILURE) {
    result.meaning += "; see the system log";
  }
  Json::Value out = JsonObject({{"action", options.action},
                                {"hash", options.hash},
                                {"result", result.code},
                                {"meaning", result.meaning}});
  if (!result.session_id.empty()) out["session_id"] = result.session_id;
  if (options.json) {
    PrintJson(out);
  } else {
    std::cout << result.code << " " << result.meaning << "\n";
    if (!result.session_id.empty()) std::cout << result.session_id << "\n";
  }
  return result.code == SHARING_LOGIN_SUCCESS ? kSuccess : kRefused;
}

std::string CheckAddress(const std::string& text) {
  unsigned char address[sizeof(in6_addr)];
  const bool good = inet_pton(AF_INET, text.c_str(), address) == 1 ||
                    inet_pton(AF_INET6, text.c_str(), address) == 1;
  return good ? "" : "invalid IP address \"" + text + "\"";
}

}  // namespace

Action AddVisit(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  AddHash(command, options->hash);
  AddValue(command, "ACTION", options->action, "ACTION",
           OneOf({"login", "check", "logout"}), "login, check or logout")
      ->required();
  AddValue(command, "--address", options->address, "IP", CLI::Validator(CheckAddress, ""),
           "IP address of the visitor (default: 127.0.0.1)");
  AddValue(command, "--user", options->user, "USER", NotEmpty(),
           "user name, for links protected by users");
  command.add_flag("--password-stdin", options->password_stdin,
                   "read the password from standard input");
  AddJson(command, options->json);
  return [options] { return Run(*options); };
}

}  // namespace command
