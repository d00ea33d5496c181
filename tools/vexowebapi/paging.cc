#include "paging.h"

#include <limits>

namespace webapi {

namespace {

constexpr long kMaxLimit = 1000;
constexpr long kDefaultLimit = 100;

}  // namespace

Page ReadPage(Parameters& parameters) {
  long offset = 0;
  long limit = kDefaultLimit;
  parameters.Number(kOffset, 0, std::numeric_limits<int>::max(), offset);
  parameters.Number(kLimit, 1, kMaxLimit, limit);
  return {static_cast<int>(offset), static_cast<int>(limit)};
}

Json::Value PageJson(const Page& page, long total) {
  Json::Value data;
  data[kOffset] = page.offset;
  data[kLimit] = page.limit;
  data["total"] = Json::Int64{total};
  data["items"] = data["unreadable"] = Json::Value(Json::arrayValue);
  return data;
}

}  // namespace webapi
