#include "utils/lazy_json.h"

#include "utils/json_text.h"
#include "utils/json_write.h"

namespace VEXO::sharing {

LazyJson LazyJson::FromObject(std::string_view object) {
  LazyJson json;
  json.text_ = object;
  return json;
}

const Json::Value& LazyJson::Get() const {
  if (!text_.empty()) {
    ParseJson(text_, value_.emplace());  // cannot fail: JsonScanner has read it
    text_.clear();
  }
  return value_ ? *value_ : Json::Value::nullSingleton();
}

bool LazyJson::AppendTo(std::string& text) const {
  if (text_.empty()) return AppendJson(Get(), text);
  text += text_;
  return true;
}

}  // namespace VEXO::sharing
