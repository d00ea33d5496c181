// Runs one method of the web API on the system's own links, sessions and tokens, and
// answers with JSON, for the library's SendWebapi.

#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include "answer.h"
#include "methods.h"
#include "parameters.h"
#include "standard_streams.h"
#include "system_account.h"

using webapi::Answer;
using webapi::Failure;
using webapi::Method;
using webapi::Parameters;

namespace {

constexpr int kDone = 0;
constexpr int kRefused = 1;
constexpr int kWrongCall = 2;

// What every call names.
const char kApi[] = "api";
const char kVersion[] = "version";
const char kMethod[] = "method";

const char kUsage[] =
    "usage: vexowebapi --exec api=API version=1 method=METHOD [NAME=VALUE]...\n"
    "\n"
    "  VEXO.Sharing.Link     list get create set delete revoke purge info\n"
    "  VEXO.Sharing.Session  list get delete purge info\n"
    "  VEXO.Sharing.Token    list get delete purge info\n"
    "\n"
    "Answers one line of JSON.  Only root and the system account are served.\n"
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

/// Why the parameters are not those of the method, as far as their names tell.
Failure CheckNames(const Method& method, const Parameters& parameters) {
  for (const std::string& name : parameters.names()) {
    if (IsSecret(name)) {
      return {webapi::kSecretParameter,
              name +
                  ": no secret is taken as an argument, which every user of the "
                  "machine can read; generate_password=true answers a fresh one"};
    }
    const std::vector<std::string>& known = method.parameters;
    const bool common = name == kApi || name == kVersion || name == kMethod;
    if (!common && std::find(known.begin(), known.end(), name) == known.end()) {
      return {webapi::kUnknownParameter, method.name + " has no parameter " + name};
    }
  }
  return {};
}

/// Reads the arguments, which must name what every call names.
Failure ReadArguments(const std::vector<std::string>& arguments, Parameters& parameters) {
  for (const std::string& argument : arguments) {
    if (!parameters.Add(argument)) {
      return {webapi::kBadCall,
              "an argument is NAME=VALUE in UTF-8, and no name is given twice"};
    }
  }
  for (const char* const required : {kApi, kVersion, kMethod}) {
    parameters.Require(required);
  }
  return parameters.failure();
}

/// Finds the method that the call names.
Failure FindMethod(Parameters& parameters, Method& method) {
  std::string api;
  std::string name;
  long version = 0;
  parameters.Text(kApi, api);
  parameters.Text(kMethod, name);
  const std::vector<Method> methods = MethodsOf(api);
  if (methods.empty()) return {webapi::kUnknownApi, "no such API: " + api};
  if (!parameters.Number(kVersion, 1, 1, version)) {
    return {webapi::kUnknownVersion, api + " has version 1 only"};
  }
  const auto found =
      std::find_if(methods.begin(), methods.end(),
                   [&name](const Method& candidate) { return candidate.name == name; });
  if (found == methods.end()) {
    return {webapi::kUnknownMethod, api + " has no method " + name};
  }
  method = *found;
  return {};
}

Answer Run(const std::vector<std::string>& arguments) {
  if (!tools::IsRootOrSystemAccount()) {
    return Failure{webapi::kNotPermitted,
                   "only root and the system account (uid 1) are served"};
  }
  Parameters parameters;
  Method method;
  Failure failure = ReadArguments(arguments, parameters);
  if (!failure) failure = FindMethod(parameters, method);
  if (!failure) failure = CheckNames(method, parameters);
  return failure ? Answer(failure) : method.run(parameters);
}

}  // namespace

int main(int argc, char** argv) {
  if (!tools::OccupyStandardStreams()) {
    std::cerr << "vexowebapi: standard output is closed, so nothing was done\n";
    return kRefused;
  }
  const std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "--help") {
    std::cout << kUsage << std::flush;
    return std::cout ? kDone : kRefused;
  }
  if (mode != "--exec") {
    std::cerr << kUsage;
    return kWrongCall;
  }
  const Answer answer = Run(std::vector<std::string>(argv + 2, argv + argc));
  std::cout << answer.Text() << std::flush;
  if (!std::cout) {
    std::cerr << "vexowebapi: the answer could not be written: " << answer.TakeBack()
              << "\n";
    return kRefused;
  }
  return answer.success() ? kDone : kRefused;
}
