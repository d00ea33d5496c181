#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "response.h"
#include "settings.h"
#include "site.h"
#include "variables.h"

namespace web {

/// Reads the body of the request: all of it, or `limit` bytes and a few more when it is
/// longer.  Nothing when it does not arrive.
using ReadBody = std::function<std::optional<std::string>(size_t limit)>;

/// Answers requests for links of the project "files".
class Handler {
 public:
  Handler(Site site, Settings settings)
      : site_(std::move(site)), settings_(std::move(settings)) {}

  /// The answer to one request.  Nothing of it is kept.
  Response Answer(const Variables& request, const ReadBody& read_body) const;

  /// Whether this process can look up links.  One whose database could not be opened does
  /// not try again.
  static bool CanLookUp();

 private:
  Site site_;
  Settings settings_;
};

}  // namespace web
