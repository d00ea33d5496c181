#pragma once

#include <json/value.h>

#include <string>

namespace VEXO::sharing {

/// Reads a JSON text.  False, with `out` as it was, when it does not parse or is nested
/// deeper than the parser allows.
bool ParseJson(const std::string& text, Json::Value& out);

/// The value as one line of JSON, with UTF-8 kept as it is.
std::string JsonText(const Json::Value& value);

}  // namespace VEXO::sharing
