#include "response.h"

#include "admin/json_text.h"

namespace webapi {

std::string Response::Text() const {
  Json::Value response(Json::objectValue);
  response["success"] = success();
  if (success()) {
    response["data"] = data_;
  } else {
    response["error"]["code"] = error_.code;
    response["error"]["message"] = error_.message;
    if (!error_.hint.empty()) response["error"]["hint"] = error_.hint;
  }
  return admin::JsonAscii(response) + "\n";
}

std::string Response::Undo() const {
  if (!success()) return "the call failed: " + error_.Text();
  return undo_ ? undo_() : "the call was run";
}

}  // namespace webapi
