#pragma once

#include <cstddef>
#include <string>

namespace command {

bool IsOutputTerminal();
bool IsErrorTerminal();

/// Columns of the terminal: COLUMNS, or what the terminal says, or 80.
size_t TerminalWidth();

enum class Style { kPlain, kHeading, kGood, kBad, kWarning, kFaint };

/// Whether standard output takes colours: a terminal, and NO_COLOR not set.
bool HasColours();

/// The text in that style where standard output takes colours, or else as it is.
std::string Styled(const std::string& text, Style style);

}  // namespace command
