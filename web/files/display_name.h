#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace web {

/// The text as valid UTF-8: U+FFFD for bytes that are none.
std::string ToValidUtf8(std::string_view text);

/// The name to show to people: valid UTF-8 on one line.  Control characters and those
/// that change the writing direction are shown by their code, as in [U+202E].  The result
/// is not escaped for HTML.
std::string DisplayName(std::string_view name);

/// The text of a file to show to people: valid UTF-8, line ends as \n, and U+FFFD for
/// control characters other than tabs and line ends.
std::string DisplayText(std::string_view text);

/// The text to stand between the quotes of a JSON string: valid UTF-8, in which control
/// characters and those that change the writing direction are escaped, so that the JSON
/// can be shown on a terminal.  At most `limit` bytes; a longer text is cut after a
/// character, and ends with an ellipsis.
std::string JsonText(std::string_view text, size_t limit);

/// A name for an entry of an archive: one component, in valid UTF-8.  What a program that
/// unpacks it could stumble over is percent-encoded: control characters, those that
/// change the writing direction, slashes of both kinds, and bytes that are not UTF-8.  An
/// empty name, "." and ".." become _.
std::string ArchiveName(std::string_view name);

/// A name for a program to save a file under: one component, in valid UTF-8.  Control
/// characters, those that change the writing direction, and slashes of both kinds become
/// _.
std::string DownloadName(std::string_view name);

}  // namespace web
