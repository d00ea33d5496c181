#include <json/value.h>

#include <vector>

#include "internal/popen.h"
#include "utils.h"
#include "utils/json_text.h"
#include "utils/log.h"

namespace VEXO::sharing {

namespace {

const char kSource[] = "utils_send_webapi";

const char kTool[] = "/usr/vexo/bin/vexowebapi";

constexpr size_t kChunkSize = 4096;

/// Appends "name=value" for every member of `params`.  False when a member has no text
/// form, or one with a NUL.
bool AppendParams(const Json::Value& params, std::vector<std::string>& arguments) {
  if (!params.isObject() && !params.isNull()) return false;
  for (const std::string& name : params.getMemberNames()) {
    const Json::Value& value = params[name];
    if (!value.isConvertibleTo(Json::stringValue)) return false;
    arguments.push_back(name + "=" + value.asString());
    if (arguments.back().find('\0') != std::string::npos) return false;
  }
  return true;
}

}  // namespace

bool SendWebapi(Json::Value& out, const std::string& api, int version,
                const std::string& method, const Json::Value& params) {
  std::vector<std::string> arguments = {"vexowebapi", "--exec", "api=" + api,
                                        "version=" + ToString<const int>(version),
                                        "method=" + method};
  if (!AppendParams(params, arguments)) {
    LogError("%s:%d (%u) params have no text form\n\n", kSource, __LINE__, Pid());
    return false;
  }
  std::vector<const char*> argv;
  argv.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments) {
    argv.push_back(argument.c_str());
  }
  argv.push_back(nullptr);

  const Popen tool(kTool, argv.data());
  if (tool.file == nullptr) {
    LogError("%s:%d (%u) popen failed\n\n", kSource, __LINE__, Pid());
    return false;
  }
  std::string output;
  char chunk[kChunkSize];
  while (const size_t count = fread(chunk, 1, sizeof(chunk), tool.file)) {
    output.append(chunk, count);
  }
  if (!ParseJson(output, out)) {
    LogError("%s:%d (%u) json read failed\n\n", kSource, __LINE__, Pid());
    return false;
  }
  return true;
}

}  // namespace VEXO::sharing
