#pragma once

#include <json/value.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace VEXO::sharing {

/// A JSON value.  An object that was read stays text until somebody asks for its value.
class LazyJson {
 public:
  LazyJson() = default;
  LazyJson(Json::Value value) : value_(std::move(value)) {}
  /// @param object  text of an object, in the form that JsonScanner reads
  static LazyJson FromObject(std::string_view object);

  const Json::Value& Get() const;
  bool IsObject() const { return !text_.empty() || Get().isObject(); }
  /// As AppendJson.
  bool AppendTo(std::string& text) const;

 private:
  mutable std::optional<Json::Value> value_;  // none is null
  mutable std::string text_;  // of the value; empty when `value_` is set or null
};

}  // namespace VEXO::sharing
