#pragma once

#include <json/value.h>

#include <string>

namespace VEXO::sharing {

/// Parses a JSON text.
///
/// @param[out] out  the value; unchanged on failure
/// @return false when the text is not JSON or is nested deeper than the parser allows
bool ParseJson(const std::string& text, Json::Value& out);

/// The value as one line of JSON in UTF-8; no character beyond ASCII is escaped.
std::string JsonText(const Json::Value& value);

}  // namespace VEXO::sharing
