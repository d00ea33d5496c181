#include "terminal/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <charconv>
#include <cstdlib>
#include <cstring>

namespace command {

namespace {

/// The text of an environment variable; empty when it is not set.
std::string Variable(const char* name) {
  const char* const value = getenv(name);
  return value == nullptr ? "" : value;
}

}  // namespace

bool IsOutputTerminal() { return isatty(STDOUT_FILENO) == 1; }
bool IsErrorTerminal() { return isatty(STDERR_FILENO) == 1; }

size_t TerminalWidth() {
  const std::string columns = Variable("COLUMNS");
  size_t width = 0;
  std::from_chars(columns.data(), columns.data() + columns.size(), width);
  if (width > 0) return width;
  winsize size = {};
  const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : 80;
}

bool HasColours() {
  return IsOutputTerminal() && Variable("NO_COLOR").empty() && Variable("TERM") != "dumb";
}

std::string Styled(const std::string& text, Style style) {
  if (style == Style::kPlain || !HasColours()) return text;
  return "\033[" + std::to_string(static_cast<int>(style)) + "m" + text + "\033[0m";
}

}  // namespace command
