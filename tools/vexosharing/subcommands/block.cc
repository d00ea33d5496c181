#include <string.h>
#include <vexo/autoblock.h>

#include <algorithm>
#include <cerrno>

#include "cli/date.h"
#include "subcommands/table.h"

namespace command {

namespace {

const char kNetwork[] = "/64";

struct Options {
  bool json = false;
  std::string address;  // of clear
};

struct Address {
  std::string text;
  int failures;
  std::string service;
  long blocked_until;  // 0: not blocked
};

/// IPv6 addresses are counted by their network.
std::string NetworkText(const std::string& address) {
  return address + (address.find(':') == std::string::npos ? "" : kNetwork);
}

/// The counted failures by address; false, reported, when they cannot be read.
bool Read(std::vector<Address>& addresses) {
  const auto add = [](const VexoAutoBlockEntry* entry, void* context) {
    static_cast<std::vector<Address>*>(context)->push_back(
        {entry->address, entry->failures, entry->service, entry->blocked_until});
    return 0;
  };
  if (VEXOAutoBlockList(add, &addresses) == 0) return true;
  ReportError(std::string("cannot read the list of addresses: ") + strerror(errno));
  return false;
}

ExitCode List(const Options& options) {
  std::vector<Address> addresses;
  if (!Read(addresses)) return kDatabaseError;
  if (options.json) {
    Json::Value array(Json::arrayValue);
    for (const Address& address : addresses) {
      array.append(JsonObject({{"address", address.text},
                               {"failures", address.failures},
                               {"service", address.service},
                               {"blocked_until", Json::Int64{address.blocked_until}}}));
    }
    PrintJson(JsonObject({{"addresses", array}}));
    return kSuccess;
  }
  if (addresses.empty()) ReportError("no failed logins");
  Table table({{"ADDRESS"}, {"FAILURES"}, {"SERVICE", true}, {"BLOCKED UNTIL"}});
  for (const Address& address : addresses) {
    const long until = address.blocked_until;
    const Table::Cell blocked(until == 0 ? "not blocked" : DateText(until),
                              until == 0 ? Style::kPlain : Style::kBad);
    table.Add({NetworkText(address.text), std::to_string(address.failures),
               address.service, blocked});
  }
  return kSuccess;
}

ExitCode Clear(const Options& options) {
  std::vector<Address> before;
  std::vector<Address> after;
  if (!Read(before)) return kDatabaseError;
  // Accepts the network as list prints it.
  const std::string address = options.address.substr(0, options.address.find(kNetwork));
  if (VEXOAutoBlockClear(address.c_str()) != 0) {
    return errno == EINVAL ? Fail(kUsageError, "invalid address: " + options.address)
                           : Fail(kDatabaseError, "cannot clear the address: " +
                                                      std::string(strerror(errno)));
  }
  if (!Read(after)) return kDatabaseError;
  // Failures may be counted by network: the cleared one is named as it was counted.
  const auto cleared =
      std::find_if(before.begin(), before.end(), [&after](const Address& was) {
        return std::none_of(after.begin(), after.end(),
                            [&was](const Address& is) { return is.text == was.text; });
      });
  if (cleared == before.end()) {
    return Fail(kRefused, "no failed logins from " + options.address);
  }
  PrintResult(options.json, {{"cleared", cleared->text}},
              "Cleared " + NetworkText(cleared->text) + ": " +
                  Counted(cleared->failures, "failure") +
                  (cleared->blocked_until != 0 ? ", unblocked." : "."));
  return kSuccess;
}

Action AddBlockList(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  AddJson(command, options->json);
  return [options] { return List(*options); };
}

Action AddBlockClear(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  AddValue(command, "ADDRESS", options->address, "IP", NotEmpty(), "IP address")
      ->required();
  AddJson(command, options->json);
  return [options] { return Clear(*options); };
}

}  // namespace

Action AddBlock(CLI::App& command) {
  command.require_subcommand(1);
  const auto action = std::make_shared<Action>();
  AddSubcommand(command,
                {"list", "List addresses with failed logins.", "vexosharing block list",
                 AddBlockList},
                *action);
  AddSubcommand(command,
                {"clear",
                 "Unblock an address and forget its failed logins.\n"
                 "For an IPv6 address, its /64 network is unblocked.",
                 "vexosharing block clear 192.0.2.7", AddBlockClear},
                *action);
  return [action] { return (*action)(); };
}

}  // namespace command
