#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <utility>

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

/// The text in that style if output is coloured: standard output is a terminal, and
/// NO_COLOR is not set.  Otherwise the text itself.
std::string Styled(const std::string& text, Style style);

/// Draws the text as a QR code on standard output.  False when it is too long for one.
bool DrawQrCode(const std::string& text);

/// Shows the progress of a long operation, if standard error is a terminal.  The line is
/// cleared at the end.
class Progress {
 public:
  /// `what` names the operation, as in "reading links".
  explicit Progress(std::string what) : what_(std::move(what)) {}
  ~Progress() { Wipe(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// `done` of the total are done; a total of 0 means unknown.
  void Show(long done, long total);

  /// The same, immediately: for a long step without intermediate results.
  void ShowNow(long done, long total);

  /// Clears the line for a message; the next Show continues below it.
  void Wipe();

 private:
  using Clock = std::chrono::steady_clock;
  // An operation that ends before the first pause shows no progress.
  static constexpr std::chrono::milliseconds kPause{200};

  std::string what_;
  bool terminal_ = IsErrorTerminal();
  bool shown_ = false;
  Clock::time_point next_ = Clock::now() + kPause;
};

}  // namespace command
