#include "site.h"

#include <syslog.h>

#include <algorithm>
#include <utility>

#include "base/percent.h"
#include "base/text.h"
#include "link_url/configuration.h"
#include "redirect.h"

namespace web {
namespace {

constexpr std::string_view kLinkFolder = link_url::kLinkFolder;

bool BeginsWith(std::string_view text, std::string_view begin) {
  return text.substr(0, begin.size()) == begin;
}

}  // namespace

std::optional<Site> Site::Read() {
  link_url::Configuration configuration;
  const std::string failure = link_url::LoadConfiguration(
      configuration,
      [](const std::string& line) { syslog(LOG_ERR, "%s", line.c_str()); });
  if (!failure.empty()) {
    syslog(LOG_ERR, "%s", failure.c_str());
    return std::nullopt;
  }
  const link_url::Settings settings = link_url::SettingsFor(configuration, kProject);
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
  const int port = base_->port == link_url::kDefaultPort ? standard : base_->port;
  // As link_url writes hosts.
  const std::string lower = VEXO::base::ToLowerAscii(host);
  return lower == base_->host + ":" + std::to_string(port) ||
         (port == standard && lower == base_->host);
}

std::string Site::LinkPath(const std::string& host, const std::string& before,
                           const std::string& segment) const {
  if (!IsBase(host)) return before + segment;
  return base_->path + prefix_ + link_url::kLinkFolder + segment;
}

std::string Site::LinkUrl(const std::string& host, bool https,
                          const std::string& path) const {
  if (IsBase(host)) return link_url::MakeOrigin(*base_) + path;
  return IsHost(host) ? (https ? "https://" : "http://") + host + path : "";
}

std::string Site::BaseUrl() const {
  return base_ ? link_url::MakeOrigin(*base_) + base_->path : "";
}

}  // namespace web
