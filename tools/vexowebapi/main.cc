// Runs one method of the web API on the system's own links, sessions and tokens, and
// prints its response as JSON, for the library's SendWebapi.

#include <iostream>
#include <string>
#include <vector>

#include "admin/accounts.h"
#include "base/standard_streams.h"
#include "call.h"

using namespace webapi;

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongCall = 2;

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

Response Run(Call& call, const std::vector<std::string>& arguments) {
  Parameters& parameters = call.parameters;
  if (Error error = admin::CheckCaller()) return error;
  for (const std::string& argument : arguments) parameters.Add(argument);
  const std::string api = parameters.Required("api");
  parameters.Required("version");
  const std::string name = parameters.Required("method");
  if (parameters.error()) return parameters.error();
  const std::map<std::string, Methods> apis = {{"VEXO.Sharing.Link", LinkMethods()},
                                               {"VEXO.Sharing.Session", SessionMethods()},
                                               {"VEXO.Sharing.Token", TokenMethods()}};
  const auto methods = apis.find(api);
  if (methods == apis.end()) return Error{"unknown_api", "unknown API: " + api, ""};
  if (!parameters.Number("version", 1, 1)) {
    return Error{"unknown_version", "unknown version of " + api, "use version=1"};
  }
  const auto method = methods->second.find(name);
  if (method == methods->second.end()) {
    return Error{"unknown_method", "unknown method of " + api + ": " + name, ""};
  }
  return method->second(call);
}

}  // namespace

int main(int argc, char** argv) {
  if (!VEXO::base::OccupyStandardStreams()) {
    std::cerr << "vexowebapi: standard output is closed: nothing was done\n";
    return kFailed;
  }
  const std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "--version" || mode == "--help") {
    std::cout << (mode == "--help" ? kUsage : "vexowebapi " VEXO_VERSION "\n")
              << std::flush;
    return std::cout ? kDone : kFailed;
  }
  if (mode != "--exec") {
    std::cerr << kUsage;
    return kWrongCall;
  }
  const admin::AccountCache accounts;
  Call call;
  const Response response = Run(call, std::vector<std::string>(argv + 2, argv + argc));
  std::cout << response.Text() << std::flush;
  if (!std::cout) {
    std::cerr << "vexowebapi: cannot write the response: "
              << (response.error ? "the call failed: " + response.error.Text()
                                 : response.undo())
              << "\n";
    return kFailed;
  }
  return response.error ? kFailed : kDone;
}
