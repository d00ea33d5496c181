#pragma once

#include <json/value.h>

#include "parameters.h"

namespace webapi {

inline constexpr char kOffset[] = "offset";
inline constexpr char kLimit[] = "limit";

/// Which rows a list returns.
struct Page {
  int offset = 0;
  int limit = 0;
};

/// Reads offset and limit; the defaults are 0 and 100.
Page ReadPage(Parameters& parameters);

/// {"offset": N, "limit": N, "total": N, "items": [], "unreadable": []}
Json::Value PageJson(const Page& page, long total);

}  // namespace webapi
