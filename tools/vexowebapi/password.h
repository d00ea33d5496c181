#pragma once

#include <string>

namespace webapi {

/// A fresh password, overwritten when it goes.
class Password {
 public:
  Password() = default;
  ~Password();
  Password(const Password&) = delete;
  Password& operator=(const Password&) = delete;

  /// False, with none drawn, when the kernel gives no random bytes.
  bool Draw();
  /// Empty until one was drawn.
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

}  // namespace webapi
