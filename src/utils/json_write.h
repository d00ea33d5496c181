#pragma once

#include <json/value.h>

#include <string>
#include <string_view>

namespace VEXO::sharing {

/// Appends a string as JSON, as JsonText writes it.
void AppendJsonString(std::string_view value, std::string& text);

/// Appends a value as JsonText writes it, at a fraction of the cost.
///
/// @return false when only JsonText can write it, because it has a real number or a
///         comment; `text` then ends with a part of the value
bool AppendJson(const Json::Value& value, std::string& text);

}  // namespace VEXO::sharing
