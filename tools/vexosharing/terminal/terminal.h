#pragma once

#include <cstddef>
#include <string>

namespace command {

bool IsOutputTerminal();
bool IsErrorTerminal();

/// Columns of the terminal: COLUMNS, or the width that the terminal reports, or 80.
size_t TerminalWidth();

/// How a text is shown; the numbers are the terminal's codes (ECMA-48, SGR).
enum class Style {
  kPlain = 0,
  kHeading = 1,
  kFaint = 2,
  kBad = 31,
  kGood = 32,
  kWarning = 33
};

/// Whether output is coloured: standard output is a terminal, and NO_COLOR is not set.
bool HasColours();

/// The text in that style if output is coloured; otherwise the text itself.
std::string Styled(const std::string& text, Style style);

}  // namespace command
