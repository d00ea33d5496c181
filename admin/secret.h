#pragma once

#include <string>

#include "base/random_draw.h"
#include "base/wipe.h"

namespace admin {

/// A secret text, overwritten when it is destroyed.  Its buffer never grows, so no copy
/// is left behind.
class Secret {
 public:
  static constexpr size_t kMaxLength = 4095;

  Secret() { text_.reserve(kMaxLength); }
  ~Secret() { VEXO::base::Wipe(&text_); }
  Secret(const Secret&) = delete;
  Secret& operator=(const Secret&) = delete;

  const std::string& text() const { return text_; }
  bool empty() const { return text_.empty(); }

  void Clear() { text_.clear(); }

  /// False when the text already has its greatest length.
  bool Append(char character) {
    if (text_.size() == kMaxLength) return false;
    text_.push_back(character);
    return true;
  }

  /// Removes a carriage return at the end: some systems end lines with it.
  void RemoveCarriageReturn() {
    if (!text_.empty() && text_.back() == '\r') text_.pop_back();
  }

  /// Generates a password of 20 letters and digits without look-alikes, about 116 bits.
  /// False, with errno, when the kernel supplies no random numbers.
  bool Generate() {
    std::string generated;
    const bool drawn = VEXO::base::DrawText(
        "23456789abcdefghijkmnpqrstuvwxyzABCDEFGHJKLMNPQRSTUVWXYZ", 20, &generated);
    text_ = generated;
    VEXO::base::Wipe(&generated);
    return drawn;
  }

 private:
  std::string text_;
};

}  // namespace admin
