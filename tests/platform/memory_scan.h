#pragma once

#include <string>
#include <string_view>
#include <vector>

/// A secret of a test, which keeps it disguised, so that only copies made by others are
/// found in memory.  Its last half is looked for, because memory that was given back
/// loses its first bytes to the allocator: a long secret is found for certain.
class Secret {
 public:
  explicit Secret(std::string_view text);
  /// The bytes that the hexadecimal digits encode.
  static Secret FromHex(const std::string& digits);

  /// The secret with a 0 behind it, until Hide.
  const char* Reveal();
  void Hide();

  /// How often it occurs in the writable memory of this process.
  int CountInMemory() const;
  int CountIn(const void* memory, size_t size) const;

 private:
  Secret() = default;
  bool IsAt(const char* bytes) const;

  std::vector<char> disguised_;
  std::vector<char> plain_;
};
