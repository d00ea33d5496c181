#pragma once

#include <optional>

#include "url.h"
#include "utils.h"

namespace url_tool {

/// What the administrator wrote down about the appliance's address.
struct Configuration {
  std::optional<Address> base;
  VEXO::sharing::_tag_SHARING_URL_TYPE type = VEXO::sharing::SHARING_URL_TYPE_CONFIGURED;
};

/// Reads the configuration file; a missing one is an empty one.  Wrong lines are told on
/// standard error and skipped.  False, told there too, when the file cannot be read.
bool LoadConfiguration(Configuration& out);

}  // namespace url_tool
