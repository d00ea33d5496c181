#pragma once

#include <json/value.h>

#include <string>
#include <string_view>

namespace VEXO::sharing {

/// Appends a string as JSON, as JsonText writes it.
void AppendJsonString(std::string_view value, std::string& text);

/// Appends a value as JsonText writes it, but much faster.
///
/// @return false when the value has a real number or a comment, which only JsonText can
///         write; a part of the value has been appended then
bool AppendJson(const Json::Value& value, std::string& text);

}  // namespace VEXO::sharing
