#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "admin/json_text.h"
#include "src/utils/json_write.h"
#include "src/utils/lazy_json.h"

namespace admin {

/// Builds a JSON object as a value.
class ObjectValue {
 public:
  template <class T>
  void Add(const char* name, const T& value) {
    value_[name] = ToValue(value);
  }
  Json::Value Finish() { return std::move(value_); }

 private:
  template <class T>
  static Json::Value ToValue(const T& value) {
    return value;
  }
  static Json::Value ToValue(std::nullptr_t) { return {}; }
  static Json::Value ToValue(long value) { return Json::Int64{value}; }
  static Json::Value ToValue(const VEXO::sharing::LazyJson& value) { return value.Get(); }
  template <class T>
  static Json::Value ToValue(const std::vector<T>& values) {
    return JsonArray(values);
  }

  Json::Value value_{Json::objectValue};
};

/// Builds the same object as text.  Members must be added in the order of their names.
class ObjectText {
 public:
  ObjectText() { text_.reserve(kUsualLength); }

  template <class T>
  void Add(std::string_view name, const T& value) {
    text_ += text_.empty() ? "{\"" : ",\"";
    text_ += name;
    text_ += "\":";
    Append(value);
  }
  /// Ends the object.  False if JsonText would write it in another way; `text` is
  /// unchanged then.
  bool Finish(std::string& text) {
    text_ += '}';
    if (!good_ || !IsUtf8(text_)) return false;
    text = std::move(text_);
    return true;
  }

 private:
  void Append(const VEXO::sharing::LazyJson& value) {
    good_ = value.AppendTo(text_) && good_;
  }
  void Append(bool value) { text_ += value ? "true" : "false"; }
  void Append(std::string_view value) { VEXO::sharing::AppendJsonString(value, text_); }
  void Append(const char* value) { Append(std::string_view(value)); }
  void Append(const std::string& value) { Append(std::string_view(value)); }
  void Append(std::nullptr_t) { text_ += "null"; }
  void Append(long value) { text_ += std::to_string(value); }
  void Append(int value) { Append(long{value}); }
  void Append(unsigned int value) { Append(long{value}); }
  template <class T>
  void Append(const std::vector<T>& values) {
    const char* separator = "[";
    for (const T& value : values) {
      text_ += separator;
      Append(value);
      separator = ",";
    }
    text_ += values.empty() ? "[]" : "]";
  }

  static constexpr size_t kUsualLength = 1000;  // of a link; more is possible

  std::string text_;
  bool good_ = true;
};

}  // namespace admin
