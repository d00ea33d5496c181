#pragma once

#include <string>

/// Whether the text is well-formed UTF-8: no overlong form, no surrogate, nothing beyond
/// the last code point.
bool IsUtf8(const std::string& text);
