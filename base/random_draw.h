#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace VEXO::base {

/// Draws numbers from the kernel's cryptographic generator, which it asks for a few at a
/// time.  Its buffer is wiped at the end.  Meant to live as long as one call: it
/// must not be shared by threads or used on both sides of a fork.
class RandomDraw {
 public:
  RandomDraw() = default;
  RandomDraw(const RandomDraw&) = delete;
  RandomDraw& operator=(const RandomDraw&) = delete;
  ~RandomDraw();

  /// Stores a number below `range` (1 to 2^32), each with the same probability.  False,
  /// with the reason in errno, when the kernel supplies none.
  bool Below(std::uint64_t range, std::uint64_t* out);

 private:
  static constexpr size_t kCount = 16;

  std::uint32_t numbers_[kCount] = {};
  size_t left_ = 0;
};

/// Stores `length` characters, each drawn from `alphabet`.  False, with the reason in
/// errno and an empty text, when that fails; an empty alphabet is EINVAL.
bool DrawText(std::string_view alphabet, size_t length, std::string* out);

}  // namespace VEXO::base
