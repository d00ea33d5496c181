#include <string.h>
#include <vexo/autoblock.h>

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "cli/date.h"
#include "cli/options.h"
#include "cli/report.h"
#include "subcommands/table.h"
#include "terminal/json.h"
#include "terminal/table.h"
#include "terminal/text.h"

namespace command {

namespace {

const char kNetwork[] = "/64";

struct ListOptions {
  bool json = false;
};

struct ClearOptions {
  bool json = false;
  std::string address;
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

ExitCode List(const ListOptions& options) {
  std::vector<Address> addresses;
  if (!Read(addresses)) return kDatabaseError;
  if (options.json) {
    Json::Value array(Json::arrayValue);
    for (const Address& address : addresses) {
      Json::Value element(Json::objectValue);
      element["address"] = address.text;
      element["failures"] = address.failures;
      element["service"] = address.service;
      element["blocked_until"] = Json::Value::Int64{address.blocked_until};
      array.append(element);
    }
    Json::Value out(Json::objectValue);
    out["addresses"] = array;
    PrintJson(out);
    return kSuccess;
  }
  if (addresses.empty()) ReportError("no failed logins");
  Table table({"ADDRESS", "FAILURES", {"SERVICE", true}, "BLOCKED UNTIL"});
  for (const Address& address : addresses) {
    const bool blocked = address.blocked_until != 0;
    table.Add({NetworkText(address.text),
               std::to_string(address.failures),
               address.service,
               {blocked ? DateText(address.blocked_until) : "not blocked",
                blocked ? Style::kBad : Style::kPlain}});
  }
  return kSuccess;
}

ExitCode Clear(const ClearOptions& options) {
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
  if (options.json) {
    Json::Value out(Json::objectValue);
    out["cleared"] = cleared->text;
    PrintJson(out);
  } else {
    std::cout << "Cleared " << Printable(NetworkText(cleared->text)) << ": "
              << Counted(cleared->failures, "failure")
              << (cleared->blocked_until != 0 ? ", unblocked" : "") << ".\n";
  }
  return kSuccess;
}

void AddBlockList(CLI::App& command, Action& action) {
  const auto options = std::make_shared<ListOptions>();
  AddJson(command, options->json);
  SetAction(command, action, options, List);
}

void AddBlockClear(CLI::App& command, Action& action) {
  const auto options = std::make_shared<ClearOptions>();
  command.add_option("ADDRESS", options->address, "IP address")
      ->required()
      ->transform(NotEmpty());
  AddJson(command, options->json);
  SetAction(command, action, options, Clear);
}

}  // namespace

void AddBlock(CLI::App& command, Action& action) {
  command.require_subcommand(1);
  const Subcommand list = {"list", "List addresses with failed logins.",
                           "vexosharing block list", AddBlockList};
  const Subcommand clear = {"clear",
                            "Unblock an address and forget its failed logins.\n"
                            "For an IPv6 address, its /64 network is unblocked.",
                            "vexosharing block clear 192.0.2.7", AddBlockClear};
  for (const Subcommand& subcommand : {list, clear}) {
    AddSubcommand(command, subcommand, action);
  }
}

}  // namespace command
