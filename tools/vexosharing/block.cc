#include <string.h>
#include <vexo/autoblock.h>

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "json.h"
#include "moment.h"
#include "options.h"
#include "table.h"
#include "text.h"

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

/// What has been counted, by address; false, told, when it cannot be read.
bool Read(std::vector<Address>& addresses) {
  const auto add = [](const VexoAutoBlockEntry* entry, void* context) {
    static_cast<std::vector<Address>*>(context)->push_back(
        {entry->address, entry->failures, entry->service, entry->blocked_until});
    return 0;
  };
  if (VEXOAutoBlockList(add, &addresses) == 0) return true;
  Tell(std::string("the counted addresses cannot be read: ") + strerror(errno));
  return false;
}

Outcome List(const ListOptions& options) {
  std::vector<Address> addresses;
  if (!Read(addresses)) return kNotUsable;
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
    return kDone;
  }
  if (addresses.empty()) Tell("no address has failed to log in lately");
  Table table({"ADDRESS", "FAILURES", {"SERVICE", true}, "BLOCKED UNTIL"});
  for (const Address& address : addresses) {
    const bool blocked = address.blocked_until != 0;
    table.Add({NetworkText(address.text),
               std::to_string(address.failures),
               address.service,
               {blocked ? MomentText(address.blocked_until) : "not blocked",
                blocked ? Style::kBad : Style::kPlain}});
  }
  return kDone;
}

Outcome Clear(const ClearOptions& options) {
  std::vector<Address> before;
  std::vector<Address> after;
  if (!Read(before)) return kNotUsable;
  // What list shows is understood too.
  const std::string address = options.address.substr(0, options.address.find(kNetwork));
  if (VEXOAutoBlockClear(address.c_str()) != 0) {
    return errno == EINVAL ? End(kWrongCall, "\"" + options.address + "\" is no address")
                           : End(kNotUsable, "the address cannot be cleared: " +
                                                 std::string(strerror(errno)));
  }
  if (!Read(after)) return kNotUsable;
  // The counting may be by network: what went is named as it was counted.
  const auto gone =
      std::find_if(before.begin(), before.end(), [&after](const Address& was) {
        return std::none_of(after.begin(), after.end(),
                            [&was](const Address& is) { return is.text == was.text; });
      });
  if (gone == before.end()) {
    return End(kRefused, "nothing is counted for " + options.address);
  }
  if (options.json) {
    Json::Value out(Json::objectValue);
    out["cleared"] = gone->text;
    PrintJson(out);
  } else {
    std::cout << "Cleared " << Printable(NetworkText(gone->text)) << ": "
              << Counted(gone->failures, "failure")
              << (gone->blocked_until != 0 ? ", and it is not blocked any more" : "")
              << ".\n";
  }
  return kDone;
}

}  // namespace

void AddBlock(CLI::App& app, Work& work) {
  CLI::App& command =
      AddCommand(app, "block", "Shows and clears addresses that failed to log in.",
                 "vexosharing block list");
  command.require_subcommand(1);

  const auto list_options = std::make_shared<ListOptions>();
  CLI::App& list = AddCommand(command, "list", "Lists addresses that failed to log in.",
                              "vexosharing block list");
  AddJson(list, list_options->json);
  list.callback(
      [list_options, &work] { work = [list_options] { return List(*list_options); }; });

  const auto clear_options = std::make_shared<ClearOptions>();
  CLI::App& clear = AddCommand(command, "clear",
                               "Forgets an address's failures, and unblocks it.\n"
                               "An IPv6 address stands for its network of 64 bits.",
                               "vexosharing block clear 192.0.2.7");
  clear.add_option("ADDRESS", clear_options->address, "the address")
      ->required()
      ->transform(NotEmpty());
  AddJson(clear, clear_options->json);
  clear.callback([clear_options, &work] {
    work = [clear_options] { return Clear(*clear_options); };
  });
}

}  // namespace command
