#pragma once

#include <string>
#include <string_view>

namespace web {

/// Appends the text to HTML: to the content of an element, or to the value of an
/// attribute in double quotes.
void AppendEscaped(std::string_view text, std::string* html);

}  // namespace web
