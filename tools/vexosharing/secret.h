#pragma once

#include <string>

namespace command {

/// A secret text, overwritten when it goes.
class Secret {
 public:
  Secret();
  ~Secret();
  Secret(const Secret&) = delete;
  Secret& operator=(const Secret&) = delete;

  const std::string& text() const { return text_; }

  /// Reads the next line of standard input, no byte more; `what` is asked for, as in
  /// "password".  A terminal shows nothing of the answer.  False, told, when there is
  /// none.
  bool ReadInput(const std::string& what);
  /// Reads the first line of a file.  False, told, when there is none or when everyone
  /// may read the file.
  bool ReadFile(const std::string& path);
  /// Draws a random password.  False, told, when the system gives no random numbers.
  bool Generate();

 private:
  bool ReadLine(int fd, const std::string& name);

  std::string text_;
};

}  // namespace command
