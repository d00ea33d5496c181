// Runs one method of the web API on the system's own links, sessions and tokens, and
// prints its response as JSON, for the library's SendWebapi.

#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include "base/standard_streams.h"
#include "methods.h"

using webapi::Call;
using webapi::Error;
using webapi::Method;
using webapi::Parameters;
using webapi::Response;

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongCall = 2;

// The parameters of every call.
const char kApi[] = "api";
const char kVersion[] = "version";
const char kMethod[] = "method";

const char kUsage[] =
    "usage: vexowebapi --exec api=API version=1 method=METHOD [NAME=VALUE]...\n"
    "       vexowebapi --help | --version\n"
    "\n"
    "  VEXO.Sharing.Link     list get create set delete revoke purge info\n"
    "  VEXO.Sharing.Session  list get delete purge info\n"
    "  VEXO.Sharing.Token    list get delete purge info\n"
    "\n"
    "Prints one line of JSON.  Requires root or the system account.\n"
    "\n"
    "Example: vexowebapi --exec api=VEXO.Sharing.Link version=1 method=list limit=10\n";

/// Whether the parameter could carry a password or what is stored of one.  Arguments can
/// be read by every user of the machine.
bool IsSecret(const std::string& name) {
  return name != webapi::kGeneratePassword && name.find("password") != std::string::npos;
}

std::vector<Method> MethodsOf(const std::string& api) {
  if (api == "VEXO.Sharing.Link") return webapi::LinkMethods();
  if (api == "VEXO.Sharing.Session") return webapi::SessionMethods();
  if (api == "VEXO.Sharing.Token") return webapi::TokenMethods();
  return {};
}

/// Checks the names of the parameters: the method must know them.
Error CheckNames(const Method& method, const Parameters& parameters) {
  for (const std::string& name : parameters.names()) {
    if (IsSecret(name)) {
      return {webapi::kSecretParameter,
              name +
                  ": secrets are not accepted as arguments, which every user of the "
                  "machine can read",
              "use generate_password=true"};
    }
    const std::vector<std::string>& known = method.parameters;
    const bool common = name == kApi || name == kVersion || name == kMethod;
    if (!common && std::find(known.begin(), known.end(), name) == known.end()) {
      return {webapi::kUnknownParameter,
              "unknown parameter of " + method.name + ": " + name, ""};
    }
  }
  return {};
}

/// Reads the arguments, which must include the parameters of every call.
Error ReadArguments(const std::vector<std::string>& arguments, Parameters& parameters) {
  for (const std::string& argument : arguments) {
    if (!parameters.Add(argument)) {
      return {webapi::kBadCall, "an argument must be NAME=VALUE in UTF-8, each name once",
              ""};
    }
  }
  for (const char* const required : {kApi, kVersion, kMethod}) {
    parameters.Require(required);
  }
  return parameters.error();
}

/// Finds the method that the call names.
Error FindMethod(Parameters& parameters, Method& method) {
  std::string api;
  std::string name;
  long version = 0;
  parameters.Text(kApi, api);
  parameters.Text(kMethod, name);
  const std::vector<Method> methods = MethodsOf(api);
  if (methods.empty()) return {webapi::kUnknownApi, "unknown API: " + api, ""};
  if (!parameters.Number(kVersion, 1, 1, version)) {
    return {webapi::kUnknownVersion, "unknown version of " + api, "use version=1"};
  }
  const auto found =
      std::find_if(methods.begin(), methods.end(),
                   [&name](const Method& candidate) { return candidate.name == name; });
  if (found == methods.end()) {
    return {webapi::kUnknownMethod, "unknown method of " + api + ": " + name, ""};
  }
  method = *found;
  return {};
}

Response Run(Call& call, const std::vector<std::string>& arguments) {
  Method method;
  Error error = admin::CheckCaller();
  if (!error) error = ReadArguments(arguments, call.parameters);
  if (!error) error = FindMethod(call.parameters, method);
  if (!error) error = CheckNames(method, call.parameters);
  return error ? Response(error) : method.run(call);
}

}  // namespace

int main(int argc, char** argv) {
  if (!VEXO::base::OccupyStandardStreams()) {
    std::cerr << "vexowebapi: standard output is closed: nothing was done\n";
    return kFailed;
  }
  const std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "--version") {
    std::cout << "vexowebapi " VEXO_VERSION "\n" << std::flush;
    return std::cout ? kDone : kFailed;
  }
  if (mode == "--help") {
    std::cout << kUsage << std::flush;
    return std::cout ? kDone : kFailed;
  }
  if (mode != "--exec") {
    std::cerr << kUsage;
    return kWrongCall;
  }
  Call call;
  const Response response = Run(call, std::vector<std::string>(argv + 2, argv + argc));
  std::cout << response.Text() << std::flush;
  if (!std::cout) {
    std::cerr << "vexowebapi: cannot write the response: " << response.Undo() << "\n";
    return kFailed;
  }
  return response.success() ? kDone : kFailed;
}
