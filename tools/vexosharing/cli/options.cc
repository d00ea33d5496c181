#include "cli/options.h"

#include <utf8cpp/utf8.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <limits>
#include <string_view>

#include "base/number.h"
#include "cli/date.h"
#include "terminal/text.h"

namespace command {

namespace {

/// A date in the form that one of the functions of cli/date.h parses.
CLI::Validator DateBy(decltype(ParseDate)* parse) {
  return CLI::Validator().operation([parse](std::string& text) -> std::string {
    long seconds = 0;
    const std::string reason = parse(text, time(nullptr), seconds);
    if (!reason.empty()) return "invalid date \"" + text + "\": " + reason;
    text = std::to_string(seconds);
    return "";
  });
}

}  // namespace

void AddJson(CLI::App& command, bool& json) {
  command.add_flag("--json", json, "print JSON; times are in seconds since the epoch");
}

void AddCommon(CLI::App& command, CommonOptions& options) {
  AddJson(command, options.json);
  AddValue(command, "--database", options.database, "PATH", NotEmpty(),
           "use this database instead of the system's");
}

CLI::Option* AddSwitch(CLI::App& command, const std::string& name,
                       std::optional<bool>& value, bool meaning,
                       const std::string& description) {
  return command.add_flag_callback(
      name, [&value, meaning] { value = meaning; }, description);
}

void AddHash(CLI::App& command, std::string& hash) {
  command.add_option("HASH", hash, "hash or URL of the link")
      ->required()
      ->transform(HashOrUrl());
}

CLI::Validator WholeNumber(int least) {
  return CLI::Validator().operation([least](std::string& text) -> std::string {
    const int most = std::numeric_limits<int>::max();
    const std::optional<int> number = VEXO::base::ParseNumber(text, least, most);
    if (!number) {
      return "invalid number \"" + text + "\": must be from " + std::to_string(least) +
             " to 2147483647";
    }
    text = std::to_string(*number);  // the parser would read 010 as octal
    return "";
  });
}

CLI::Validator Size() {
  return CLI::Validator().operation([](std::string& text) -> std::string {
    constexpr std::uint64_t kMost = std::uint64_t{1} << 53;  // exact in every JSON parser
    constexpr std::string_view kUnits = "kMGT";
    std::uint64_t factor = 1;
    std::string_view number = text;
    const size_t unit = number.empty() ? kUnits.npos : kUnits.find(number.back());
    if (unit != kUnits.npos) {
      number.remove_suffix(1);
      for (size_t i = 0; i <= unit; ++i) factor *= 1000;
    }
    const std::optional<std::uint64_t> count =
        VEXO::base::ParseNumber(number, std::uint64_t{1}, kMost / factor);
    if (!count) {
      return "invalid size \"" + text +
             "\": must be a number of bytes, or a number with k, M, G or T";
    }
    text = std::to_string(*count * factor);
    return "";
  });
}

CLI::Validator Date() { return DateBy(ParseDate); }

CLI::Validator PastDate() { return DateBy(ParsePastDate); }

CLI::Validator Utf8() {
  return CLI::Validator().operation([](const std::string& text) {
    return utf8::is_valid(text) ? "" : "not valid UTF-8";
  });
}

CLI::Validator NotEmpty() {
  return CLI::Validator().operation([](std::string& text) {
    return text.empty() ? "must not be empty" : Utf8()(text);
  });
}

CLI::Validator OneOf(const std::vector<std::string>& words) {
  return CLI::Validator().operation([words](const std::string& text) -> std::string {
    if (std::find(words.begin(), words.end(), text) != words.end()) return "";
    return "invalid value \"" + text + "\": must be one of " + Join(words);
  });
}

CLI::Validator HashOrUrl() {
  return CLI::Validator().operation([](std::string& text) -> std::string {
    const std::string folder = "/sharing/";  // of every URL of a link
    const size_t scheme = text.find("://");
    if (scheme == std::string::npos) return "";
    const size_t path = text.find('/', scheme + 3);
    const size_t found = text.rfind(folder);
    if (found == std::string::npos || found < path) return "not the URL of a link";
    text.erase(0, found + folder.size());
    text.erase(std::min(text.find_first_of("/?#"), text.size()));
    return text.empty() ? "not the URL of a link" : "";
  });
}

}  // namespace command
