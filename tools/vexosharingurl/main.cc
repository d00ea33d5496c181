// Prints the public URL of a sharing link, and the kind of that URL, for the library's
// GetSharingURL.

#include <unistd.h>

#include <iostream>
#include <optional>
#include <string>

#include "base/number.h"
#include "base/standard_streams.h"
#include "link_url/configuration.h"
#include "link_url/url.h"

using namespace link_url;
using namespace VEXO::sharing;  // the types of URLs

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
  Address address;                    // without path; an empty host is not given
  std::optional<std::string> prefix;  // escaped
};

void ReportLine(const std::string& line) {
  std::cerr << "vexosharingurl: " << line << "\n";
}

int Fail(int status, const std::string& reason) {
  ReportLine(reason);
  return status;
}

/// Returns why the arguments are wrong, or an empty text.
std::string ReadCall(char** arguments, Call& call) {
  const std::string https = arguments[2];
  const std::string host = arguments[3];
  const std::string prefix = arguments[4];
  std::string reason;
  call.hash = arguments[0];
  if (call.hash.empty() || IsDotSegment(call.hash)) {
    return "HASH must not be empty, \".\" or \"..\"";
  }
  const auto port = VEXO::base::ParseNumber(arguments[1], 0, kLargestPort);
  if (!port) return "PORT must be a number from 0 to 65535";
  call.address.port = *port;
  if (https != "0" && https != "1") return "HTTPS must be 0 or 1";
  call.address.https = https == "1";
  if (!host.empty()) reason = ReadHost(host, call.address.host);
  if (!reason.empty()) return "HOST: " + reason;
  if (!prefix.empty()) reason = ReadPlainPath(prefix, call.prefix.emplace());
  return reason.empty() ? "" : "PREFIX: " + reason;
}

/// Returns why the host name of this machine cannot be used, or an empty text.
std::string ReadMachineHost(std::string& host) {
  char name[256] = {};
  std::string reason = "it cannot be read";
  if (gethostname(name, sizeof(name) - 1) == 0) reason = ReadHost(name, host);
  if (reason.empty()) return "";
  return "the host name of this machine is not valid in a URL (" + reason +
         "): set base in /usr/vexo/etc/sharing-url.conf";
}

/// The address of the call; the settings fill in the host and the prefix where the call
/// leaves them out.  Returns the reason of a failure, or an empty text.
std::string FindAddress(const Call& call, Address& address, _tag_SHARING_URL_TYPE& type) {
  Settings settings;
  std::string reason;
  address = call.address;
  if (address.host.empty() || !call.prefix) {
    reason = FindSettings(call.hash, ReportLine, settings);
  }
  if (!reason.empty()) return reason;
  if (!address.host.empty()) {
    type = IsLocalHost(address.host) ? SHARING_URL_TYPE_LOCAL : SHARING_URL_TYPE_UNKNOWN;
  } else if (!settings.base) {
    type = SHARING_URL_TYPE_LOCAL;
    reason = ReadMachineHost(address.host);
  } else {
    type = settings.type.value_or(SHARING_URL_TYPE_CONFIGURED);
    address = *settings.base;
    if (call.address.port != kDefaultPort) {  // scheme and port go together
      address.https = call.address.https;
      address.port = call.address.port;
    }
  }
  address.path += call.prefix ? *call.prefix : settings.prefix.value_or("");
  return reason;
}

int Print(const std::string& text) {
  std::cout << text << std::flush;
  return std::cout ? kDone : Fail(kFailed, "cannot write to standard output");
}

int Check() {
  Configuration configuration;
  std::string host;
  std::string reason = LoadConfiguration(configuration, ReportLine);
  if (reason.empty() && !configuration.general.base) reason = ReadMachineHost(host);
  if (!reason.empty()) return Fail(kFailed, reason);
  return configuration.wrong_lines == 0 ? kDone : kFailed;
}

int PrintUrl(char** arguments) {
  Call call;
  Address address;
  _tag_SHARING_URL_TYPE type = SHARING_URL_TYPE_UNKNOWN;
  std::string reason = ReadCall(arguments, call);
  if (!reason.empty()) return Fail(kWrongCall, reason);
  reason = FindAddress(call, address, type);
  if (!reason.empty()) return Fail(kFailed, reason);
  const std::string url = MakeUrl(address, call.hash);
  if (url.size() > kLongestUrl) {
    return Fail(kWrongCall, "the URL is longer than 4094 bytes");
  }
  return Print(url + "\n" + std::to_string(type) + "\n");
}

}  // namespace

int main(int argc, char** argv) {
  if (!VEXO::base::OccupyStandardStreams()) {
    return Fail(kFailed, "standard output is closed");
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
