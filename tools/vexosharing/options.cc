#include "options.h"

#include <algorithm>
#include <charconv>
#include <ctime>

#include "json.h"
#include "moment.h"
#include "strict_json.h"
#include "text.h"
#include "utf8.h"

namespace command {

CLI::App& AddCommand(CLI::App& app, const std::string& name,
                     const std::string& description, const std::string& example) {
  CLI::App* const command = app.add_subcommand(name, description);
  command->footer("Example:\n  " + example);
  return *command;
}

void AddJson(CLI::App& command, bool& json) {
  command.add_flag("--json", json, "print JSON, with times in seconds");
}

void AddCommon(CLI::App& command, CommonOptions& options) {
  AddJson(command, options.json);
  command
      .add_option("--database", options.database, "another database than the system's")
      ->transform(NotEmpty())
      ->type_name("PATH");
}

CLI::Option* AddSwitch(CLI::App& command, const std::string& name,
                       std::optional<bool>& value, bool meaning,
                       const std::string& description) {
  return command.add_flag_callback(
      name, [&value, meaning] { value = meaning; }, description);
}

CLI::Validator WholeNumber(int least) {
  return CLI::Validator(
      [least](std::string& text) -> std::string {
        int number = 0;
        const char* const end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, number);
        if (error != std::errc() || stop != end || number < least) {
          return "\"" + text + "\" is no number from " + std::to_string(least) +
                 " to 2147483647";
        }
        text = std::to_string(number);
        return "";
      },
      "");
}

CLI::Validator Moment() {
  return CLI::Validator(
      [](std::string& text) -> std::string {
        long seconds = 0;
        if (!ParseMoment(text, time(nullptr), seconds)) {
          return "\"" + text +
                 "\" is no date; write 2026-12-31, \"2026-12-31 18:00\", 7d or never";
        }
        text = std::to_string(seconds);
        return "";
      },
      "");
}

CLI::Validator JsonObject() {
  return CLI::Validator(
      [](std::string& text) -> std::string {
        Json::Value value;
        std::string reason;
        if (tools::ParseStrictObject(text, value, reason)) return "";
        return "not a JSON object such as {\"path\":\"/photo\"}: " + reason;
      },
      "");
}

CLI::Validator Utf8() {
  return CLI::Validator(
      [](std::string& text) -> std::string {
        return tools::IsUtf8(text) ? "" : "it is not UTF-8";
      },
      "");
}

CLI::Validator NotEmpty() {
  return CLI::Validator(
      [](std::string& text) -> std::string {
        if (text.empty()) return "it is empty";
        return tools::IsUtf8(text) ? "" : "it is not UTF-8";
      },
      "");
}

CLI::Validator OneOf(const std::vector<std::string>& words) {
  return CLI::Validator(
      [words](std::string& text) -> std::string {
        if (std::find(words.begin(), words.end(), text) != words.end()) return "";
        return "\"" + text + "\" is none of " + Join(words);
      },
      "");
}

}  // namespace command
