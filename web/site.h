#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "link_url/url.h"

namespace web {

/// The project whose links the program serves.
inline constexpr char kProject[] = "files";

/// The addresses of the links, as vexosharingurl prints them.
class Site {
 public:
  Site(std::optional<link_url::Address> base, std::string prefix)
      : base_(std::move(base)), prefix_(std::move(prefix)) {}

  /// Reads /usr/vexo/etc/sharing-url.conf.  Nothing, logged, when it cannot be read.
  static std::optional<Site> Read();

  /// The length of the part of a path up to the hash, "/sharing/" included; 0 when the
  /// path is not that of a link.  A proxy may have removed the path of the base.
  size_t LengthBeforeHash(std::string_view path) const;

  /// The path of a link as the visitor sees it, without a slash at its end.
  ///
  /// @param host     Host header of the request
  /// @param before   part of the request's path before the hash
  /// @param segment  the hash as it is in the path
  std::string LinkPath(const std::string& host, const std::string& before,
                       const std::string& segment) const;

  /// The URL of a link.  Empty when the request has no host that can be in a URL.
  ///
  /// @param host   Host header of the request
  /// @param https  whether the visitor uses HTTPS
  /// @param path   as LinkPath returns it
  std::string LinkUrl(const std::string& host, bool https, const std::string& path) const;

  /// The base as a URL; empty when there is none.
  std::string BaseUrl() const;

 private:
  bool IsBase(const std::string& host) const;

  std::optional<link_url::Address> base_;
  std::string prefix_;  // escaped; empty, or begins with a slash
};

}  // namespace web
