#pragma once

#include <string>

namespace admin {

/// A secret text, overwritten when it is destroyed.  Its buffer never grows, so no copy
/// is left behind.
class Secret {
 public:
  static constexpr size_t kMaxLength = 4095;

  Secret();
  ~Secret();
  Secret(const Secret&) = delete;
  Secret& operator=(const Secret&) = delete;

  const std::string& text() const { return text_; }
  bool empty() const { return text_.empty(); }

  void Clear() { text_.clear(); }
  /// False when the text already has its greatest length.
  bool Append(char character);
  /// Removes a carriage return at the end: some systems end lines with it.
  void RemoveCarriageReturn();
  /// Generates a password of 20 letters and digits without look-alikes, about 116 bits.
  /// False, with errno, when the kernel supplies no random numbers.
  bool Generate();

 private:
  std::string text_;
};

}  // namespace admin
