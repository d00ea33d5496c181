#include "web/files/share.h"

#include <json/value.h>

namespace web {
namespace {

/// Reads a limit, which may be absent.  False when it is not a positive whole number.
bool ReadLimit(const Json::Value& value, std::uint64_t* limit) {
  if (value.isNull()) return true;
  if (!value.isUInt64() || value.asUInt64() == 0) return false;
  *limit = value.asUInt64();
  return true;
}

}  // namespace

std::optional<Share> ReadShare(const Json::Value& app) {
  if (!app.isObject()) return std::nullopt;
  const Json::Value& path = app["path"];
  if (!path.isString()) return std::nullopt;
  Share share;
  share.path = path.asString();
  if (share.path.empty() || share.path[0] != '/' ||
      share.path.find('\0') != std::string::npos) {
    return std::nullopt;
  }
  const Json::Value& hidden = app["hidden"];
  share.hidden = hidden.isBool() && hidden.asBool();
  const Json::Value& drop = app["drop"];
  if (!drop.isNull() && !drop.isBool()) return std::nullopt;
  if (drop.isBool() && drop.asBool()) {
    share.drop.emplace();
    if (!ReadLimit(app["max_bytes"], &share.drop->bytes) ||
        !ReadLimit(app["max_files"], &share.drop->files)) {
      return std::nullopt;
    }
  }
  return share;
}

std::string NameOfShare(const Share& share) {
  const size_t end = share.path.find_last_not_of('/');
  if (end == std::string::npos) return "files";
  const size_t begin = share.path.rfind('/', end) + 1;
  const std::string name = share.path.substr(begin, end - begin + 1);
  return name == "." || name == ".." ? "files" : name;
}

}  // namespace web
