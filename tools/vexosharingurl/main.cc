// Prints the public URL of a sharing link, and the kind of that URL, for the library's
// GetSharingURL.

#include <unistd.h>

#include <iostream>
#include <string>

#include "configuration.h"
#include "host.h"
#include "standard_streams.h"
#include "url.h"

using url_tool::Address;
using url_tool::Configuration;
using VEXO::sharing::_tag_SHARING_URL_TYPE;
using VEXO::sharing::SHARING_URL_TYPE_LOCAL;
using VEXO::sharing::SHARING_URL_TYPE_UNKNOWN;

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongCall = 2;

const char kUsage[] =
    "usage: vexosharingurl HASH PORT HTTPS HOST PREFIX\n"
    "\n"
    "Prints the public URL of a sharing link, and on a second line its type:\n"
    "0 unknown, 1 on the local network, 2 configured, 3 relayed.\n"
    "\n"
    "  HASH    what names the link\n"
    "  PORT    0 to 65535; 0 is the usual one\n"
    "  HTTPS   1 for https, 0 for http\n"
    "  HOST    name or address; empty: the configured base, or the machine's name\n"
    "  PREFIX  path that stands before the link's, or empty\n"
    "\n"
    "Example: vexosharingurl aB3dE5fG7 0 1 nas.example.org ''\n";

// The library reads a line of 4095 bytes, its end included, and would cut a longer one.
constexpr size_t kLongestUrl = 4094;

/// The arguments, checked.
struct Call {
  std::string hash;
  int port = url_tool::kUsualPort;
  bool https = false;
  std::string host;    // empty: not given
  std::string prefix;  // escaped
};

bool Refuse(const std::string& reason) {
  std::cerr << "vexosharingurl: " << reason << "\n";
  return false;
}

bool ReadCall(char** arguments, Call& call) {
  const std::string hash = arguments[0];
  const std::string https = arguments[2];
  const std::string host = arguments[3];
  std::string reason;
  if (hash.empty() || url_tool::IsDotSegment(hash)) {
    return Refuse("HASH is empty, or a dot segment that browsers take away");
  }
  call.hash = hash;
  if (!url_tool::ReadPort(arguments[1], call.port)) {
    return Refuse("PORT is a number from 0 to 65535");
  }
  if (https != "0" && https != "1") return Refuse("HTTPS is 0 or 1");
  call.https = https == "1";
  if (!host.empty() && !url_tool::ReadHost(host, call.host, reason)) {
    return Refuse("HOST: " + reason);
  }
  if (!url_tool::ReadPlainPath(arguments[4], call.prefix, reason)) {
    return Refuse("PREFIX: " + reason);
  }
  return true;
}

bool MachineHost(std::string& host) {
  char name[256] = {};
  std::string reason;
  if (gethostname(name, sizeof name - 1) != 0 ||
      !url_tool::ReadHost(name, host, reason)) {
    return Refuse("the machine's name cannot stand in a URL (" + reason +
                  "): give HOST, or a base in /usr/vexo/etc/sharing-url.conf");
  }
  return true;
}

/// The address for the call, from the configured base where no host is given, or from the
/// machine's name where there is no base either.
bool FindAddress(const Call& call, Address& address, _tag_SHARING_URL_TYPE& type) {
  address = {call.https, call.host, call.port, ""};
  if (!call.host.empty()) {
    type = url_tool::IsLocalHost(call.host) ? SHARING_URL_TYPE_LOCAL
                                            : SHARING_URL_TYPE_UNKNOWN;
    return true;
  }
  Configuration configuration;
  if (!url_tool::LoadConfiguration(configuration)) return false;
  if (!configuration.base) {
    type = SHARING_URL_TYPE_LOCAL;
    return MachineHost(address.host);
  }
  address = *configuration.base;
  type = configuration.type;
  if (call.port != url_tool::kUsualPort) {  // scheme and port go together
    address.https = call.https;
    address.port = call.port;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (!tools::OccupyStandardStreams()) {
    Refuse("standard output is closed");
    return kFailed;
  }
  if (argc == 2 && std::string(argv[1]) == "--help") {
    std::cout << kUsage << std::flush;
    return std::cout ? kDone : kFailed;
  }
  if (argc != 6) {
    std::cerr << kUsage;
    return kWrongCall;
  }
  Call call;
  if (!ReadCall(argv + 1, call)) return kWrongCall;
  Address address;
  _tag_SHARING_URL_TYPE type = SHARING_URL_TYPE_UNKNOWN;
  if (!FindAddress(call, address, type)) return kFailed;
  address.path += call.prefix;
  const std::string url = url_tool::MakeUrl(address, call.hash);
  if (url.size() > kLongestUrl) {
    Refuse("the URL is longer than 4094 bytes");
    return kWrongCall;
  }
  std::cout << url << "\n" << type << "\n" << std::flush;
  if (!std::cout) {
    Refuse("the answer could not be written");
    return kFailed;
  }
  return kDone;
}
