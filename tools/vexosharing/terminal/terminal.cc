#include "terminal/terminal.h"

#include <qrencode.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <charconv>
#include <cstdlib>
#include <iostream>
#include <memory>

namespace command {

namespace {

/// The text of an environment variable; empty when it is not set.
std::string Variable(const char* name) {
  const char* const value = getenv(name);
  return value == nullptr ? "" : value;
}

bool HasColours() {
  return IsOutputTerminal() && Variable("NO_COLOR").empty() && Variable("TERM") != "dumb";
}

}  // namespace

bool IsOutputTerminal() {
  static const bool is_terminal = isatty(STDOUT_FILENO) == 1;  // asked for each cell
  return is_terminal;
}

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

std::string Styled(const std::string& text, Style style) {
  if (style == Style::kPlain || !HasColours()) return text;
  return "\033[" + std::to_string(static_cast<int>(style)) + "m" + text + "\033[0m";
}

bool DrawQrCode(const std::string& text) {
  const std::unique_ptr<QRcode, void (*)(QRcode*)> code(
      QRcode_encodeString8bit(text.c_str(), 0, QR_ECLEVEL_M), QRcode_free);
  if (code == nullptr) return false;
  // Two rows per line, by block characters.  Light modules are drawn on a dark
  // background.
  const char* const blocks[2][2] = {{" ", "\u2584"}, {"\u2580", "\u2588"}};
  constexpr int kMargin = 4;  // of light modules, as scanners require
  const int end = code->width + kMargin;
  const auto light = [&code](int row, int column) {
    return row < 0 || column < 0 || row >= code->width || column >= code->width ||
           (code->data[row * code->width + column] & 1) == 0;
  };
  for (int row = -kMargin; row < end; row += 2) {
    if (HasColours()) std::cout << "\033[97;40m";
    for (int column = -kMargin; column < end; ++column) {
      const bool lower = row + 1 < end && light(row + 1, column);
      std::cout << blocks[light(row, column)][lower];
    }
    if (HasColours()) std::cout << "\033[0m";
    std::cout << "\n";
  }
  return true;
}

void Progress::Show(long done, long total) {
  if (Clock::now() >= next_) ShowNow(done, total);
}

void Progress::ShowNow(long done, long total) {
  if (!terminal_) return;
  next_ = Clock::now() + kPause;
  shown_ = true;
  std::cerr << "\r" << what_ << ": " << done;
  if (total > 0) std::cerr << " of " << total;
  std::cerr << "\033[K" << std::flush;
}

void Progress::Wipe() {
  if (shown_) std::cerr << "\r\033[K" << std::flush;
  shown_ = false;
}

}  // namespace command
