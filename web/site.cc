#include "site.h"

#include <syslog.h>

#include <algorithm>
#include <utility>

#include "base/percent.h"
#include "base/text.h"
#include "redirect.h"
#include "tools/vexosharingurl/configuration.h"

namespace web {
namespace {

constexpr std::string_view kLinkFolder = "/sharing/";

bool BeginsWith(std::string_view text, std::string_view begin) {
  return text.substr(0, begin.size()) == begin;
}

}  // namespace

std::optional<Site> Site::Read() {
  url_tool::Configuration configuration;
  const std::string failure = url_tool::LoadConfiguration(
      configuration,
      [](const std::string& line) { syslog(LOG_ERR, "%s", line.c_str()); });
  if (!failure.empty()) {
    syslog(LOG_ERR, "%s", failure.c_str());
    return std::nullopt;
  }
  const url_tool::Settings settings = url_tool::SettingsFor(configuration, kProject);
  return Site(settings.base, settings.prefix.value_or(""));
}

size_t Site::LengthBeforeHash(std::string_view path) const {
  const std::string outside = base_ ? base_->path : "";
  for (const std::string& begin : {outside + prefix_, prefix_}) {
    if (BeginsWith(path, begin) && BeginsWith(path.substr(begin.size()), kLinkFolder)) {
      return begin.size() + kLinkFolder.size();
    }
  }
  return 0;
}

bool Site::IsBase(const std::string& host) const {
  if (!base_) return false;
  const int standard = base_->https ? 443 : 80;
  const int port = base_->port == url_tool::kDefaultPort ? standard : base_->port;
  // As url_tool writes hosts.
  const std::string lower = VEXO::base::ToLowerAscii(host);
  return lower == base_->host + ":" + std::to_string(port) ||
         (port == standard && lower == base_->host);
}

std::string Site::LinkPath(const std::string& host, const std::string& before,
                           const std::string& segment) const {
  if (!IsBase(host)) return before + segment;
  return base_->path + prefix_ + std::string(kLinkFolder) + segment;
}

std::string Site::LinkUrl(const std::string& host, bool https,
                          const std::string& path) const {
  if (IsBase(host)) return BaseOrigin() + path;
  return IsHost(host) ? (https ? "https://" : "http://") + host + path : "";
}

std::string Site::BaseUrl() const { return base_ ? BaseOrigin() + base_->path : ""; }

std::string Site::BaseOrigin() const {
  std::string url = (base_->https ? "https://" : "http://") + base_->host;
  if (base_->port != url_tool::kDefaultPort) url += ":" + std::to_string(base_->port);
  return url;
}

}  // namespace web
