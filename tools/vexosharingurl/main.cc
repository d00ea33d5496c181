// Prints the public URL of a sharing link, and the kind of that URL, for the library's
// GetSharingURL.

#include <unistd.h>

#include <iostream>
#include <optional>
#include <string>

#include "base/number.h"
#include "base/standard_streams.h"
#include "configuration.h"
#include "host.h"
#include "keys.h"
#include "project.h"
#include "url.h"

using url_tool::Address;
using url_tool::Configuration;
using url_tool::Settings;
using VEXO::sharing::_tag_SHARING_URL_TYPE;
using VEXO::sharing::SHARING_URL_TYPE_CONFIGURED;
using VEXO::sharing::SHARING_URL_TYPE_LOCAL;
using VEXO::sharing::SHARING_URL_TYPE_UNKNOWN;

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongCall = 2;

const char kUsage[] =
    "usage: vexosharingurl HASH PORT HTTPS HOST PREFIX\n"
    "       vexosharingurl --check | --help | --version\n"
    "\n"
    "Prints the public URL of a sharing link, and on a second line its type:\n"
    "0 unknown, 1 local network, 2 configured, 3 relayed.\n"
    "\n"
    "  HASH     hash of the link\n"
    "  PORT     0 to 65535; 0 is the default port\n"
    "  HTTPS    1 for https, 0 for http\n"
    "  HOST     host name or address; if empty, the configured base or, without\n"
    "           one, the host name of this machine\n"
    "  PREFIX   path before /sharing/HASH; if empty, the configured prefix\n"
    "\n"
    "  --check  check /usr/vexo/etc/sharing-url.conf\n"
    "\n"
    "Example: vexosharingurl aB3dE5fG7 0 1 nas.example.org ''\n";

// The library reads a line of 4095 bytes, its end included, and cuts a longer one.
constexpr size_t kLongestUrl = 4094;

/// The arguments, checked.
struct Call {
  std::string hash;
  int port = url_tool::kDefaultPort;
  bool https = false;
  std::string host;                   // empty: not given
  std::optional<std::string> prefix;  // escaped
};

bool Refuse(const std::string& reason) {
  std::cerr << "vexosharingurl: " << reason << "\n";
  return false;
}

bool ReadCall(char** arguments, Call& call) {
  const std::string https = arguments[2];
  const std::string host = arguments[3];
  const std::string prefix = arguments[4];
  std::string reason;
  call.hash = arguments[0];
  if (call.hash.empty() || url_tool::IsDotSegment(call.hash)) {
    return Refuse("HASH must not be empty, \".\" or \"..\"");
  }
  const auto port = VEXO::base::ParseNumber(arguments[1], 0, url_tool::kLargestPort);
  if (!port) return Refuse("PORT must be a number from 0 to 65535");
  call.port = *port;
  if (https != "0" && https != "1") return Refuse("HTTPS must be 0 or 1");
  call.https = https == "1";
  if (!host.empty() && !url_tool::ReadHost(host, call.host, reason)) {
    return Refuse("HOST: " + reason);
  }
  if (!prefix.empty() &&
      !url_tool::ReadPlainPath(prefix, call.prefix.emplace(), reason)) {
    return Refuse("PREFIX: " + reason);
  }
  return true;
}

bool MachineHost(std::string& host) {
  char name[256] = {};
  std::string reason = "it cannot be read";
  if (gethostname(name, sizeof(name) - 1) != 0 ||
      !url_tool::ReadHost(name, host, reason)) {
    return Refuse("the host name of this machine is not valid in a URL (" + reason +
                  "): set base in /usr/vexo/etc/sharing-url.conf");
  }
  return true;
}

bool LoadConfiguration(Configuration& out) {
  return url_tool::LoadConfiguration(out, [](const std::string& line) {
    std::cerr << "vexosharingurl: " << line << "\n";
  });
}

/// The settings that apply to the link.  Its project is looked up only where a project
/// has settings, so that the tool needs no database otherwise.
bool FindSettings(const std::string& hash, Settings& settings) {
  Configuration configuration;
  std::string project;
  std::string reason;
  if (!LoadConfiguration(configuration)) return false;
  if (!configuration.projects.empty() && !url_tool::FindProject(hash, project, reason)) {
    return Refuse("cannot look up the project of the link in " +
                  std::string(VEXO::sharing::SZF_SHARING_DB_PATH) + ": " + reason);
  }
  settings = configuration.SettingsFor(project);
  return true;
}

/// The address of the call; the settings fill in the host and the prefix where the call
/// leaves them out.
bool FindAddress(const Call& call, Address& address, _tag_SHARING_URL_TYPE& type) {
  Settings settings;
  if ((call.host.empty() || !call.prefix) && !FindSettings(call.hash, settings)) {
    return false;
  }
  address = {call.https, call.host, call.port, ""};
  if (!call.host.empty()) {
    type = url_tool::IsLocalHost(call.host) ? SHARING_URL_TYPE_LOCAL
                                            : SHARING_URL_TYPE_UNKNOWN;
  } else if (!settings.base) {
    type = SHARING_URL_TYPE_LOCAL;
    if (!MachineHost(address.host)) return false;
  } else {
    type = settings.type.value_or(SHARING_URL_TYPE_CONFIGURED);
    address = *settings.base;
    if (call.port != url_tool::kDefaultPort) {  // scheme and port go together
      address.https = call.https;
      address.port = call.port;
    }
  }
  address.path += call.prefix ? *call.prefix : settings.prefix.value_or("");
  return true;
}

int Print(const std::string& text) {
  std::cout << text << std::flush;
  if (std::cout) return kDone;
  Refuse("cannot write to standard output");
  return kFailed;
}

int Check() {
  Configuration configuration;
  if (!LoadConfiguration(configuration)) return kFailed;
  std::string host;
  const bool has_host = configuration.general.base || MachineHost(host);
  return has_host && configuration.wrong_lines == 0 ? kDone : kFailed;
}

int PrintUrl(char** arguments) {
  Call call;
  if (!ReadCall(arguments, call)) return kWrongCall;
  Address address;
  _tag_SHARING_URL_TYPE type = SHARING_URL_TYPE_UNKNOWN;
  if (!FindAddress(call, address, type)) return kFailed;
  const std::string url = url_tool::MakeUrl(address, call.hash);
  if (url.size() > kLongestUrl) {
    Refuse("the URL is longer than 4094 bytes");
    return kWrongCall;
  }
  return Print(url + "\n" + std::to_string(type) + "\n");
}

}  // namespace

int main(int argc, char** argv) {
  if (!VEXO::base::OccupyStandardStreams()) {
    Refuse("standard output is closed");
    return kFailed;
  }
  // GetSharingURL always gives five arguments, so no hash is taken for an option.
  if (argc == 6) return PrintUrl(argv + 1);
  const std::string option = argc == 2 ? argv[1] : "";
  if (option == "--check") return Check();
  if (option == "--help") return Print(kUsage);
  if (option == "--version") return Print("vexosharingurl " PROJECT_VERSION "\n");
  std::cerr << kUsage;
  return kWrongCall;
}
