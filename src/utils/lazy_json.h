#pragma once

#include <json/value.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace VEXO::sharing {

/// A JSON value.  An object that was read stays text until its value is needed.
class LazyJson {
 public:
  LazyJson() = default;
  LazyJson(Json::Value value) : value_(std::move(value)) {}
  /// @param object  text of an object, in the form that JsonScanner reads
  static LazyJson FromObject(std::string_view object);

  const Json::Value& Get() const;
  bool IsObject() const { return !text_.empty() || Get().isObject(); }
  /// Appends the value as AppendJson does, with the same result.
  bool AppendTo(std::string& text) const;

 private:
  // The value is `text_`, unless that is empty; else `value_`, or null without one.
  mutable std::optional<Json::Value> value_;
  mutable std::string text_;
};

}  // namespace VEXO::sharing
