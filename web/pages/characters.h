#pragma once

#include <string>
#include <string_view>

namespace web {

/// The text that an entity means: "&amp;", "&#65;", "&#x41;".  It knows the names that
/// people write in texts; any other entity stays as it is.  Characters that DisplayText
/// replaces become U+FFFD here, too.
std::string DecodeEntity(std::string_view entity);

/// Whether a person sees something of the text, which is valid UTF-8.
bool IsVisible(std::string_view text);

}  // namespace web
