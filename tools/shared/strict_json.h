#pragma once

#include <json/value.h>

#include <string>

namespace tools {

/// Reads JSON by the letter of the grammar (RFC 8259), in UTF-8, without repeated names,
/// and no deeper than the library reads it back from a link.  False, with `reason`, for
/// anything else; `out` is left alone then.
bool ParseStrictJson(const std::string& text, Json::Value& out, std::string& reason);
/// The same for an object, and false for any other value.
bool ParseStrictObject(const std::string& text, Json::Value& out, std::string& reason);

}  // namespace tools
