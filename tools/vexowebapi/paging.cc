#include "paging.h"

#include <limits>

namespace webapi {

namespace {

constexpr long kLargestPage = 1000;
constexpr long kUsualPage = 100;

}  // namespace

Page ReadPage(Parameters& parameters) {
  long offset = 0;
  long limit = kUsualPage;
  parameters.Number(kOffset, 0, std::numeric_limits<int>::max(), offset);
  parameters.Number(kLimit, 1, kLargestPage, limit);
  return {static_cast<int>(offset), static_cast<int>(limit)};
}

Answer PageAnswer(const Page& page, long total, VEXO::sharing::db::Result& result,
                  bool (*read)(const VEXO::sharing::db::Row& row, Json::Value& view)) {
  Json::Value data;
  data[kOffset] = page.offset;
  data[kLimit] = page.limit;
  data["total"] = Json::Int64{total};
  data["items"] = Json::Value(Json::arrayValue);
  int unreadable = 0;
  VEXO::sharing::db::Row row;
  while (result.NextRow(row)) {
    Json::Value view;
    if (read(row, view)) {
      data["items"].append(view);
    } else {
      ++unreadable;
    }
  }
  data["unreadable"] = unreadable;
  return data;
}

}  // namespace webapi
