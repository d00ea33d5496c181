#include "web/files/share.h"

#include <json/value.h>

namespace web {

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
