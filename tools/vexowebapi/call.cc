#include "call.h"

#include <limits>

#include "admin/json_text.h"
#include "keys.h"

namespace webapi {

Error Call::Open(admin::Access wanted) {
  if (Error error = parameters.Check()) return error;
  if (Error error = access.Open(VEXO::sharing::SZF_SHARING_DB_PATH, wanted)) return error;
  links = std::make_unique<admin::LinkAdmin>(database());
  return {};
}

std::string Response::Text() const {
  Json::Value response(Json::objectValue);
  response["success"] = !error;
  if (!error) {
    response["data"] = data;
  } else {
    response["error"]["code"] = error.code;
    response["error"]["message"] = error.message;
    if (!error.hint.empty()) response["error"]["hint"] = error.hint;
  }
  return admin::JsonText(response, true) + "\n";
}

Page::Page(Parameters& parameters)
    : offset(parameters.Number("offset", 0, std::numeric_limits<int>::max()).value_or(0)),
      limit(parameters.Number("limit", 1, 1000).value_or(100)) {}

Json::Value Page::ToJson(long total) const {
  Json::Value data;
  data["offset"] = Json::Int64{offset};
  data["limit"] = Json::Int64{limit};
  data["total"] = Json::Int64{total};
  data["items"] = data["unreadable"] = Json::Value(Json::arrayValue);
  return data;
}

}  // namespace webapi
